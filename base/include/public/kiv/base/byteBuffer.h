// The two ends of a raw stream of bytes: a growing buffer that is appended to, and a cursor over
// bytes that somebody else owns. Integers travel in network byte order.
//
//     ByteBufferWriter writer;
//     writer.AppendUInt32(7);
//     ByteBufferReader reader(writer);
//     uint32 number = 0;
//     if (!reader.ReadUInt32(&number)) return false;
//
// A read that needs more than what is left is false, and moves and changes nothing. A writer fails
// only for want of memory, with `std::bad_alloc`. One object belongs to one thread.
#ifndef KIV_BASE_BYTE_BUFFER_H_
#define KIV_BASE_BYTE_BUFFER_H_

#include <bit>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <ranges>
#include <string>
#include <type_traits>
#include <utility>

#include "kiv/base/export.h"
#include "kiv/base/integers.h"
#include "kiv/base/stringView.h"

namespace kiv {

namespace detail {

// Without a loop, since only then do compilers see the one instruction in it.
template <class T, std::size_t... I>
constexpr T SwapBytes(T value, std::index_sequence<I...>) noexcept {
    return static_cast<T>((((value >> 8 * I & T{0xFF}) << 8 * (sizeof(T) - 1 - I)) | ...));
}

/// From the order of the machine to another one, and back.
template <std::endian kOrder, class T>
constexpr T InOrder(T value) noexcept {
    static_assert(std::is_unsigned_v<T>);
    if constexpr (std::endian::native == kOrder)
        return value;
    else
        return SwapBytes(value, std::make_index_sequence<sizeof(T)>());
}
template <class T>
constexpr T BigEndian(T value) noexcept {
    return InOrder<std::endian::big>(value);
}

inline constexpr std::size_t kLongestUVarint = 10;

/// By the length of such a number, the top bits of its first eight bytes: set in all but the last.
inline constexpr uint64 kUVarintContinues[] = {0,
                                               0,
                                               0x80,
                                               0x8080,
                                               0x808080,
                                               0x80808080,
                                               0x8080808080,
                                               0x808080808080,
                                               0x80808080808080,
                                               0x8080808080808080,
                                               0x8080808080808080};

/// Writes a number of seven bits a byte to `to`, where `kLongestUVarint` bytes have room, and gives
/// how many it takes. The bits are spread in parallel: a loop would pay for each branch that the
/// processor can't foresee.
inline std::size_t EncodeUVarint(uint64 value, unsigned char* to) noexcept {
    // A seventh of the bits, rounded up.
    const auto length = (static_cast<std::size_t>(std::bit_width(value | 1)) * 9 + 64) / 64;
    // Halves of 28 bits, quarters of 14, and then groups of 7 move apart.
    uint64 groups = (value & 0x000000000FFFFFFF) | (value & 0x00FFFFFFF0000000) << 4;
    groups = (groups & 0x00003FFF00003FFF) | (groups & 0x0FFFC0000FFFC000) << 2;
    groups = (groups & 0x007F007F007F007F) | (groups & 0x3F803F803F803F80) << 1;
    const uint64 first = InOrder<std::endian::little>(groups | kUVarintContinues[length]);
    std::memcpy(to, &first, sizeof(first));
    // Where there is a tenth byte it is 1, and bit 63 says in the ninth that it goes on.
    const uint16 last = InOrder<std::endian::little>(static_cast<uint16>(value >> 56 | 0x100));
    std::memcpy(to + sizeof(first), &last, sizeof(last));
    return length;
}

}  // namespace detail

namespace detail {

/// A C array, a `std::vector`, a `std::array` and their like, with elements that are `T`s.
template <class Range, class T>
concept ContiguousRangeOf = std::ranges::contiguous_range<Range> && std::is_convertible_v <
                            std::remove_reference_t<std::ranges::range_reference_t<Range>>(*)
[], T (*)[] > ;

}  // namespace detail

/// Elements that lie one behind the other and belong to somebody else. A `Size` of -4711 says that
/// their number is known at run time only, and no other is in use.
template <class T, int Size = -4711>
class ArrayView {
    static_assert(Size == -4711);

public:
    constexpr ArrayView() noexcept = default;
    constexpr ArrayView(T* data, uint64 size) noexcept : data_(data), size_(size) {}
    template <detail::ContiguousRangeOf<T> Range>
    requires(!std::is_same_v<std::remove_cvref_t<Range>, ArrayView>) constexpr ArrayView(
        Range&& range) noexcept
        : data_(std::ranges::data(range)), size_(std::ranges::size(range)) {}

    constexpr T* data() const noexcept { return data_; }
    constexpr uint64 size() const noexcept { return size_; }
    constexpr bool empty() const noexcept { return size_ == 0; }
    constexpr T* begin() const noexcept { return data_; }
    constexpr T* end() const noexcept { return data_ + size_; }
    constexpr T& operator[](uint64 index) const noexcept { return data_[index]; }

private:
    T* data_ = nullptr;
    uint64 size_ = 0;
};

/// Memory that grows at its end. `N` elements would lie in the buffer itself; the library has none
/// but `RawBufferT<unsigned char, 0>`.
template <class T, std::size_t N>
class RawBufferT {
    static_assert(N == 0 && std::is_trivially_copyable_v<T>);

public:
    RawBufferT(const RawBufferT&) = delete;
    RawBufferT& operator=(const RawBufferT&) = delete;
    RawBufferT(RawBufferT&& other) noexcept
        : size_(std::exchange(other.size_, 0)),
          capacity_(std::exchange(other.capacity_, 0)),
          data_(std::move(other.data_)) {}
    RawBufferT& operator=(RawBufferT&& other) noexcept {
        size_ = std::exchange(other.size_, 0);
        capacity_ = std::exchange(other.capacity_, 0);
        data_ = std::move(other.data_);
        return *this;
    }

    const T* data() const noexcept { return data_.get(); }
    T* data() noexcept { return data_.get(); }
    uint64 size() const noexcept { return size_; }
    uint64 capacity() const noexcept { return capacity_; }
    bool empty() const noexcept { return size_ == 0; }

    /// Makes room for exactly `capacity` elements in all, unless there is room for more.
    void Reserve(uint64 capacity) { EnsureCapacityWithHeadroom(capacity, false); }
    /// Drops what lies behind the first `size` elements.
    void Truncate(uint64 size) noexcept {
        if (size < size_)
            size_ = size;
    }

protected:
    RawBufferT() noexcept = default;
    ~RawBufferT() = default;

    uint64 _Room() const noexcept { return capacity_ - size_; }
    /// Raises the size by `count` and gives the room behind the old end, for the caller to fill.
    T* _Extend(uint64 count) {
        const uint64 size = size_;
        if (count > capacity_ - size) [[unlikely]]
            _MakeRoom(count);
        size_ = size + count;
        return data_.get() + size;
    }

private:
    struct Free {
        void operator()(T* data) const noexcept { std::free(data); }
    };

    // With headroom, a buffer that has to grow grows by half at least: appending is amortized
    // constant.
    void EnsureCapacityWithHeadroom(uint64 capacity, bool extraHeadroom);
    void _MakeRoom(uint64 count);

    uint64 size_ = 0;
    uint64 capacity_ = 0;
    std::unique_ptr<T[], Free> data_;
};

extern template class KIV_BASE_TEMPLATE_EXTERN RawBufferT<unsigned char, 0>;

class KIV_BASE_API ByteBufferWriter : public RawBufferT<unsigned char, 0> {
public:
    static constexpr uint64 kFirstCapacity = 4096;

    /// Empty, with room for `kFirstCapacity` bytes.
    ByteBufferWriter();
    /// A copy of the bytes; with a null `bytes`, empty with room for exactly `size` bytes.
    ByteBufferWriter(const unsigned char* bytes, uint64 size);

    void AppendUInt8(uint8 value) { *_Extend(1) = value; }
    void AppendUInt16(uint16 value) { _AppendBigEndian(value); }
    /// The low 24 bits.
    void AppendUInt24(uint32 value) {
        const uint32 big_endian = detail::BigEndian(value << 8);
        std::memcpy(_Extend(3), &big_endian, 3);
    }
    void AppendUInt32(uint32 value) { _AppendBigEndian(value); }
    void AppendUInt64(uint64 value) { _AppendBigEndian(value); }
    /// Seven bits a byte, the lowest first, with the top bit set in all but the last: 1 to 10
    /// bytes.
    void AppendUVarint(uint64 value);
    /// The bytes lie outside of this buffer.
    void AppendBytes(const unsigned char* bytes, uint64 size) {
        if (size > 0)
            std::memcpy(_Extend(size), bytes, size);
    }
    void AppendBytes(ArrayView<const unsigned char> bytes) {
        AppendBytes(bytes.data(), bytes.size());
    }
    void AppendString(const StringView& text) {
        AppendBytes(reinterpret_cast<const unsigned char*>(text.data()), text.size());
    }
    /// Appends `size` bytes for the caller to fill before the next call.
    unsigned char* AppendUnfilled(uint64 size) { return _Extend(size); }

    /// Replaces four bytes that are there already, from `offset` on. False if they aren't.
    bool OverwriteUInt32(uint64 offset, uint32 value);

private:
    template <class T>
    void _AppendBigEndian(T value) {
        const T big_endian = detail::BigEndian(value);
        std::memcpy(_Extend(sizeof(T)), &big_endian, sizeof(T));
    }
};

/// Copies nothing: what the bytes belong to has to outlive the reader.
class KIV_BASE_API ByteBufferReader {
public:
    /// Appending to the writer afterwards may move its bytes away.
    ByteBufferReader(const ByteBufferWriter& writer) { Construct(writer.data(), writer.size()); }
    ByteBufferReader(ArrayView<const unsigned char> view) { Construct(view.data(), view.size()); }

    /// Of the next read, from the first byte on.
    uint64 position() const noexcept { return position_; }
    uint64 remaining() const noexcept { return end_ - position_; }

    /// Steps over `size` bytes.
    bool Consume(uint64 size) {
        // Compared with what is left, never added to position_: a forged size would wrap the sum.
        if (size > remaining())
            return false;
        position_ += size;
        return true;
    }
    bool ReadBytes(unsigned char* target, uint64 size) {
        if (size == 0)
            return true;
        if (!target || size > remaining())
            return false;
        std::memcpy(target, bytes_ + position_, size);
        position_ += size;
        return true;
    }
    bool ReadBytes(ArrayView<unsigned char> target) {
        return ReadBytes(target.data(), target.size());
    }
    /// Appends to `*out` and replaces nothing.
    bool ReadString(std::string* out, uint64 size) {
        StringView text;
        if (!out || !ReadStringView(&text, size))
            return false;
        out->append(text.data(), text.size());
        return true;
    }
    /// A view of the reader's own bytes.
    bool ReadStringView(StringView* out, uint64 size) {
        if (!out || size > remaining())
            return false;
        *out = StringView(reinterpret_cast<const char*>(bytes_) + position_, size);
        position_ += size;
        return true;
    }

    // False for a null target, too.
    bool ReadUInt8(uint8* out) { return _ReadBigEndian(out); }
    bool ReadUInt16(uint16* out) { return _ReadBigEndian(out); }
    bool ReadUInt24(uint32* out) {
        uint32 big_endian = 0;
        if (!out || !ReadBytes(reinterpret_cast<unsigned char*>(&big_endian), 3))
            return false;
        *out = detail::BigEndian(big_endian) >> 8;
        return true;
    }
    bool ReadUInt32(uint32* out) { return _ReadBigEndian(out); }
    bool ReadUInt64(uint64* out) { return _ReadBigEndian(out); }
    /// The form of `AppendUVarint`. Bits that don't fit are dropped. False, with the bytes taken
    /// that were looked at, if the number goes on past the end or past ten bytes.
    bool ReadUVarint(uint64* out);

private:
    void Construct(const unsigned char* bytes, uint64 size) noexcept {
        bytes_ = bytes;
        size_ = size;
        position_ = 0;
        end_ = size;
    }

    template <class T>
    bool _ReadBigEndian(T* out) {
        if (!out || sizeof(T) > remaining())
            return false;
        T big_endian;
        std::memcpy(&big_endian, bytes_ + position_, sizeof(T));
        *out = detail::BigEndian(big_endian);
        position_ += sizeof(T);
        return true;
    }

    const unsigned char* bytes_;
    uint64 size_;
    uint64 position_;
    uint64 end_;
};

inline void ByteBufferWriter::AppendUVarint(uint64 value) {
    if (_Room() >= detail::kLongestUVarint) [[likely]] {
        _Extend(detail::EncodeUVarint(value, data() + size()));
        return;
    }
    // The buffer grows if the number itself needs it, and not before.
    unsigned char bytes[detail::kLongestUVarint];
    AppendBytes(bytes, detail::EncodeUVarint(value, bytes));
}

inline bool ByteBufferReader::ReadUVarint(uint64* out) {
    if (!out)
        return false;
    uint64 value = 0;
    for (unsigned int shift = 0; shift < 64; shift += 7) {
        if (position_ == end_)
            return false;
        const uint64 group = bytes_[position_++];
        value |= (group & 0x7F) << shift;
        if (group < 0x80) {
            *out = value;
            return true;
        }
    }
    return false;
}

}  // namespace kiv

#endif  // KIV_BASE_BYTE_BUFFER_H_
