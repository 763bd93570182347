#include "kiv/base/byteBuffer.h"

#include <algorithm>
#include <limits>
#include <new>

namespace kiv {

template <class T, std::size_t N>
void RawBufferT<T, N>::EnsureCapacityWithHeadroom(uint64 capacity, bool extraHeadroom) {
    if (capacity <= capacity_)
        return;
    if (extraHeadroom)
        capacity = std::max(capacity, capacity_ + capacity_ / 2);
    if (capacity > std::numeric_limits<std::ptrdiff_t>::max() / sizeof(T))
        throw std::bad_alloc();
    void* const grown = std::realloc(data_.get(), capacity * sizeof(T));
    if (!grown)
        throw std::bad_alloc();
    [[maybe_unused]] T* const moved = data_.release();
    data_.reset(static_cast<T*>(grown));
    capacity_ = capacity;
}

template <class T, std::size_t N>
void RawBufferT<T, N>::_MakeRoom(uint64 count) {
    if (count > std::numeric_limits<uint64>::max() - size_)
        throw std::bad_alloc();
    EnsureCapacityWithHeadroom(size_ + count, true);
}

template class KIV_BASE_TEMPLATE_DEFINE RawBufferT<unsigned char, 0>;

ByteBufferWriter::ByteBufferWriter() {
    Reserve(kFirstCapacity);
}

ByteBufferWriter::ByteBufferWriter(const unsigned char* bytes, uint64 size) {
    Reserve(size);
    if (bytes)
        AppendBytes(bytes, size);
}

bool ByteBufferWriter::OverwriteUInt32(uint64 offset, uint32 value) {
    if (offset > size() || size() - offset < sizeof(value))
        return false;
    const uint32 big_endian = detail::BigEndian(value);
    std::memcpy(data() + offset, &big_endian, sizeof(value));
    return true;
}

}  // namespace kiv
