#include "kiv/base/buffer.h"

#include <cstdlib>

namespace kiv {

Buffer::~Buffer() = default;

bool Buffer::OwnsMemory() const {
    return true;
}

ArrayBufferBase* Buffer::ToArrayBuffer() {
    return nullptr;
}

BufferObject* Buffer::ToBufferObject() {
    return nullptr;
}

BufferBase::~BufferBase() = default;

bool BufferBase::HasOneRef() const {
    return ref_count_.load() == 1;
}

int BufferBase::RefCount() const {
    return static_cast<int>(ref_count_.load());
}

void BufferBase::AddRef() {
    ref_count_.fetch_add(1);
}

void BufferBase::Release() {
    if (ref_count_.fetch_sub(1) == 1)
        delete this;
}

ArrayBufferBase::~ArrayBufferBase() = default;

uint64 ArrayBufferBase::sizeInBytes() const {
    return size_bytes_;
}

Buffer* ArrayBufferBase::root_buffer() {
    return this;
}

ArrayBufferBase* ArrayBufferBase::ToArrayBuffer() {
    return this;
}

namespace detail {
namespace {

// No object may be larger, and the allocators of the sanitizers end the process when asked for
// more.
constexpr uint64 kLargestBlock = std::numeric_limits<std::ptrdiff_t>::max();

template <class Allocate>
void* AllocateOrThrow(uint64 bytes, Allocate allocate) {
    void* const block = bytes <= kLargestBlock ? allocate() : nullptr;
    if (!block)
        throw std::bad_alloc();
    return block;
}

}  // namespace

void* AllocateArrayBlock(uint64 bytes) {
    return AllocateOrThrow(bytes, [&] { return std::malloc(bytes); });
}

void* AllocateZeroedArrayBlock(uint64 bytes) {
    return AllocateOrThrow(bytes, [&] { return std::calloc(1, bytes); });
}

void* ReallocateArrayBlock(void* block, uint64 bytes) {
    return AllocateOrThrow(bytes, [&] { return std::realloc(block, bytes); });
}

void FreeArrayBlock(void* block) noexcept {
    std::free(block);
}

}  // namespace detail
}  // namespace kiv
