// The memory behind an array: one heap block, a header of three words and the elements behind it.
//
// The classes above `ArrayBuffer<T>` let a buffer be handed around without its element type. A
// buffer has no count of elements, so it never destroys any: whoever holds the last reference to
// one with elements that need destruction does that, and `Array` is the class that does.
//
// Counts change from any thread.
#ifndef KIV_BASE_BUFFER_H_
#define KIV_BASE_BUFFER_H_

#include <atomic>
#include <cstddef>
#include <limits>
#include <new>

#include "kiv/base/export.h"
#include "kiv/base/integers.h"

namespace kiv {

template <class T>
class Array;
class ArrayBufferBase;
class BufferObject;

class KIV_BASE_API Buffer {
public:
    Buffer() = default;
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    virtual ~Buffer();

    virtual void* data() = 0;
    virtual uint64 sizeInBytes() const = 0;
    /// The buffer that owns the memory of this one.
    virtual Buffer* root_buffer() = 0;
    virtual bool OwnsMemory() const;
    virtual bool HasOneRef() const = 0;
    virtual int RefCount() const = 0;
    virtual void AddRef() = 0;
    /// Deletes the buffer with its last reference.
    virtual void Release() = 0;
    /// This buffer as one of an array, or null if it is none.
    virtual ArrayBufferBase* ToArrayBuffer();
    virtual BufferObject* ToBufferObject();
};

/// Counts; a new buffer has a count of 1.
class KIV_BASE_API BufferBase : public Buffer {
public:
    ~BufferBase() override;

    bool HasOneRef() const override;
    int RefCount() const override;
    void AddRef() override;
    void Release() override;

private:
    template <class T>
    friend class Array;

    std::atomic<int64> ref_count_{1};
};

/// Knows how many bytes it has room for.
class KIV_BASE_API ArrayBufferBase : public BufferBase {
public:
    ~ArrayBufferBase() override;

    uint64 sizeInBytes() const override;
    Buffer* root_buffer() override;
    ArrayBufferBase* ToArrayBuffer() override;

protected:
    explicit ArrayBufferBase(uint64 sizeBytes) : size_bytes_(sizeBytes) {}

private:
    template <class T>
    friend class Array;

    uint64 size_bytes_;
};

static_assert(sizeof(Buffer) == sizeof(void*));
static_assert(sizeof(BufferBase) == 2 * sizeof(uint64));
static_assert(sizeof(ArrayBufferBase) == 3 * sizeof(uint64));

namespace detail {

// The blocks that array buffers live in come from here and go back here, whichever module's code
// holds the last reference. Each throws `std::bad_alloc` and then changes nothing.
KIV_BASE_API void* AllocateArrayBlock(uint64 bytes);
KIV_BASE_API void* AllocateZeroedArrayBlock(uint64 bytes);
/// Keeps the bytes that old and new size have in common, and mostly the pages that they lie in.
KIV_BASE_API void* ReallocateArrayBlock(void* block, uint64 bytes);
KIV_BASE_API void FreeArrayBlock(void* block) noexcept;

}  // namespace detail

/// The header of a block whose elements follow it directly.
template <class T>
class ArrayBuffer final : public ArrayBufferBase {
public:
    /// A buffer with room for `count` elements, none of them constructed and all bytes zero. Throws
    /// `std::bad_alloc`, also for a count whose bytes can't be counted.
    [[nodiscard]] static ArrayBuffer* AllocateNew(uint64 count) {
        return _Make(detail::AllocateZeroedArrayBlock(_BlockBytes(count)), count);
    }

    void* data() override { return this + 1; }

    static void operator delete(void* block) noexcept { detail::FreeArrayBlock(block); }

private:
    friend class Array<T>;

    using ArrayBufferBase::ArrayBufferBase;

    /// For callers who write each byte before anybody reads it.
    static ArrayBuffer* _AllocateUnfilled(uint64 count) {
        return _Make(detail::AllocateArrayBlock(_BlockBytes(count)), count);
    }

    /// The same for a buffer without other holders, with the bytes that fit into both. If it
    /// throws, the buffer is as it was.
    static ArrayBuffer* _Reallocate(ArrayBuffer* buffer, uint64 count) {
        return _Make(detail::ReallocateArrayBlock(buffer, _BlockBytes(count)), count);
    }

    static ArrayBuffer* _Make(void* block, uint64 count) {
        return ::new (block) ArrayBuffer(count * sizeof(T));
    }

    /// Saturates, so that a count which is too large reaches the allocator as one that must fail.
    static uint64 _BlockBytes(uint64 count) {
        static_assert(sizeof(ArrayBuffer) == 3 * sizeof(uint64));
        static_assert(alignof(T) <= alignof(uint64),
                      "elements lie three words behind the start of a block");

        constexpr uint64 kLargest = std::numeric_limits<uint64>::max();
        if (count > (kLargest - sizeof(ArrayBuffer)) / sizeof(T))
            return kLargest;
        return sizeof(ArrayBuffer) + count * sizeof(T);
    }
};

}  // namespace kiv

#endif  // KIV_BASE_BUFFER_H_
