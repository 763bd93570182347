// The sequence that values, archives and properties use for every list: three words that share
// their elements with all their copies, until one of the copies writes.
//
//     Array<int> a = {1, 2, 3};
//     Array<int> b = a;   // one buffer, two holders
//     b[0] = 7;           // b has moved to a buffer of its own; a is as it was
//
// Each access through a non-const array may write, so it detaches first: an O(n) copy if the buffer
// is shared. Where nothing is written, read through a const reference, `cdata` or `cbegin`.
//
// Elements are copied and never moved. Iterators and pointers hold until the next non-const call.
// Two threads may work on two arrays that share a buffer, but not on one array if either writes.
#ifndef KIV_BASE_ARRAY_H_
#define KIV_BASE_ARRAY_H_

#include <algorithm>
#include <atomic>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <type_traits>
#include <utility>

#include "kiv/base/buffer.h"
#include "kiv/base/export.h"
#include "kiv/base/integers.h"

namespace kiv {

/// Memory that arrays wrap and somebody else owns. It counts the arrays on it, so it starts at 0;
/// `release`, which may be null, is called once when the last of them lets go, on its thread.
struct ArrayOwner {
    using ReleaseFunction = void (*)(ArrayOwner*);

    constexpr explicit ArrayOwner(ReleaseFunction function = nullptr) noexcept
        : release(function) {}

    std::atomic<int64> ref_count{0};
    ReleaseFunction release;
};

static_assert(offsetof(ArrayOwner, ref_count) == 0);
static_assert(offsetof(ArrayOwner, release) == sizeof(int64));

/// What all arrays have in common: nothing, and so it takes no room.
class KIV_BASE_API Vt_ArrayBase {
protected:
    /// Called before access to an element copies what is shared, with the name of the function that
    /// copies, always "_Detach": a place for a debugger to stop.
    void _DetachCopyHook(const char* operation) const;
};

template <class T>
class Array : public Vt_ArrayBase {
public:
    using value_type = T;
    using size_type = uint64;
    using difference_type = std::ptrdiff_t;
    using reference = T&;
    using const_reference = const T&;
    using pointer = T*;
    using const_pointer = const T*;
    using iterator = T*;
    using const_iterator = const T*;

    constexpr Array() noexcept = default;
    // What not every T is capable of is a template, here and below: it is compiled where it is
    // used, and not by an explicit instantiation or while T is incomplete.
    template <std::integral Count>
    explicit Array(Count count) : Array(static_cast<uint64>(count), T()) {}
    Array(uint64 count, const T& value) : Array() { __resize(count, value); }
    Array(std::initializer_list<T> values) : Array(values.begin(), values.end()) {}
    template <std::input_iterator It>
    Array(It first, It last);
    /// Wraps `size` elements that `owner` keeps alive, and never writes to them: the first write
    /// detaches. `data` must not be null.
    Array(ArrayOwner& owner, const T* data, uint64 size) noexcept
        : size_(size), foreign_(&owner), data_(const_cast<T*>(data)) {
        _AddRef();
    }

    Array(const Array& other) noexcept
        : size_(other.size_), foreign_(other.foreign_), data_(other.data_) {
        _AddRef();
    }
    Array(Array&& other) noexcept
        : size_(std::exchange(other.size_, 0)),
          foreign_(std::exchange(other.foreign_, nullptr)),
          data_(std::exchange(other.data_, nullptr)) {}
    Array& operator=(const Array& other) noexcept {
        Array(other).swap(*this);
        return *this;
    }
    Array& operator=(Array&& other) noexcept {
        Array(std::move(other)).swap(*this);
        return *this;
    }
    Array& operator=(std::initializer_list<T> values) {
        Array(values).swap(*this);
        return *this;
    }
    ~Array() { _DecRef(); }

    void swap(Array& other) noexcept {
        std::swap(size_, other.size_);
        std::swap(foreign_, other.foreign_);
        std::swap(data_, other.data_);
    }
    friend void swap(Array& a, Array& b) noexcept { a.swap(b); }

    uint64 size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    uint64 capacity() const noexcept;

    // Reading.
    const T* data() const noexcept { return data_; }
    const T* cdata() const noexcept { return data_; }
    const T* begin() const noexcept { return data_; }
    const T* end() const noexcept { return data_ + size_; }
    const T* cbegin() const noexcept { return begin(); }
    const T* cend() const noexcept { return end(); }
    const T& operator[](uint64 index) const { return data_[index]; }
    const T& front() const { return data_[0]; }
    const T& back() const { return data_[size_ - 1]; }

    // Writing: each of these detaches.
    T* data() { return _Detached(); }
    T* begin() { return _Detached(); }
    T* end() { return _Detached() + size_; }
    T& operator[](uint64 index) { return _Detached()[index]; }
    T& front() { return _Detached()[0]; }
    T& back() { return _Detached()[size_ - 1]; }

    /// Appends an element made from `value`, which may be an element of this array.
    template <class U = T>
    T& emplace_back(U&& value) {
        if (!_HasRoom()) [[unlikely]]
            return _EmplaceBackInNewBuffer(std::forward<U>(value));
        T* const made = std::construct_at(data_ + size_, std::forward<U>(value));
        ++size_;
        return *made;
    }
    void push_back(const T& value) { emplace_back(value); }
    void push_back(T&& value) { emplace_back(std::move(value)); }
    void pop_back() { _Truncate(size_ - 1); }

    /// Room that is added has no slack, and room that is left over is kept.
    template <class U = T>
    void resize(uint64 count) {
        __resize(count, U());
    }
    /// The same, with `fill` as the value of new elements.
    template <class Fill>
    void __resize(uint64 count, Fill&& fill);
    /// Keeps the buffer for later if it belongs to this array alone.
    void clear();
    /// Makes room for `count` elements in all. An array that has it already stays shared.
    void reserve(uint64 count);
    template <std::input_iterator It>
    void assign(It first, It last) {
        Array(first, last).swap(*this);
    }
    void assign(uint64 count, const T& value) { Array(count, value).swap(*this); }
    /// Replaces the contents by `count` elements that `fill(T*)` writes and that nobody made
    /// before, for a `T` that is copied as bytes. Not called for a count of 0.
    template <class Fill>
    void _Overwrite(uint64 count, Fill&& fill);

    /// Two arrays on one buffer are equal even when an element, such as a NaN, is not equal to
    /// itself.
    template <class U = T>
    requires std::equality_comparable<U>
    bool operator==(const Array& other) const;

    void _DetachIfNotUnique() {
        if (data_ && !_IsUnique())
            _Detach();
    }
    /// Gives the elements up and leaves the size for the caller to set.
    void _DecRef() noexcept;

private:
    static constexpr bool kCopiedAsBytes = std::is_trivially_copyable_v<T>;

    // A buffer on its way into an array. Until it is taken, its end takes back all that was made.
    class _NewBuffer {
    public:
        explicit _NewBuffer(uint64 capacity)
            : data_(_Elements(ArrayBuffer<T>::_AllocateUnfilled(capacity))) {}
        _NewBuffer(const _NewBuffer&) = delete;
        _NewBuffer& operator=(const _NewBuffer&) = delete;
        ~_NewBuffer() {
            if (data_)
                _DestroyBuffer(data_, size_);
        }

        template <class It>
        void Copy(It from, uint64 count) {
            if constexpr (kCopiedAsBytes && std::contiguous_iterator<It> &&
                          std::same_as<std::iter_value_t<It>, T>) {
                if (count > 0)
                    std::memcpy(static_cast<void*>(data_), std::to_address(from),
                                count * sizeof(T));
                size_ = count;
            } else {
                for (; size_ < count; ++from)
                    Append(*from);
            }
        }
        template <class U>
        void Append(U&& value) {
            std::construct_at(data_ + size_, std::forward<U>(value));
            ++size_;
        }
        template <class Fill>
        void Overwrite(uint64 count, Fill&& fill) {
            fill(data_);
            size_ = count;
        }
        uint64 Size() const { return size_; }
        T* Take() { return std::exchange(data_, nullptr); }

    private:
        T* data_;
        uint64 size_ = 0;
    };

    static T* _Elements(ArrayBuffer<T>* buffer) { return static_cast<T*>(buffer->data()); }
    static ArrayBuffer<T>* _Buffer(T* data) { return reinterpret_cast<ArrayBuffer<T>*>(data) - 1; }
    static void _DestroyBuffer(T* data, uint64 size) noexcept {
        std::destroy_n(data, size);
        delete _Buffer(data);
    }

    void _AddRef() noexcept;
    bool _IsUnique() const noexcept {
        // Acquire, for the decrement in another holder's _DecRef: what that holder read from the
        // elements comes before what is now written to them.
        return data_ && !foreign_ &&
               _Buffer(data_)->ref_count_.load(std::memory_order_acquire) == 1;
    }
    bool _HasRoom() const noexcept {
        return _IsUnique() && size_ * sizeof(T) != _Buffer(data_)->size_bytes_;
    }
    T* _Detached() {
        _DetachIfNotUnique();
        return data_;
    }

    [[gnu::noinline]] void _Detach();
    template <class U>
    [[gnu::noinline]] T& _EmplaceBackInNewBuffer(U&& value);
    /// Moves to a buffer with room for `capacity` elements, with copies of the first `keep` of the
    /// present ones.
    void _MoveToNewBuffer(uint64 capacity, uint64 keep);
    /// Holds what is in `buffer` from now on. What was held before is given up last: destructors of
    /// elements and the release function of an owner may look at this array.
    void _TakeOver(_NewBuffer& buffer) {
        const Array old(std::move(*this));
        size_ = buffer.Size();
        data_ = buffer.Take();
    }
    void _Truncate(uint64 count);

    uint64 size_ = 0;
    ArrayOwner* foreign_ = nullptr;  // null for an array on an ArrayBuffer<T>
    T* data_ = nullptr;  // behind the header of its buffer, or wherever the owner has it
};

static_assert(sizeof(Array<char>) == 3 * sizeof(void*));

template <class T>
template <std::input_iterator It>
Array<T>::Array(It first, It last) : Array() {
    if constexpr (std::forward_iterator<It>) {
        const auto count = static_cast<uint64>(std::distance(first, last));
        if (count == 0)
            return;
        _NewBuffer buffer(count);
        buffer.Copy(first, count);
        _TakeOver(buffer);
    } else {
        for (; first != last; ++first)
            emplace_back(*first);
    }
}

template <class T>
uint64 Array<T>::capacity() const noexcept {
    if (!data_)
        return 0;
    return foreign_ ? size_ : _Buffer(data_)->size_bytes_ / sizeof(T);
}

template <class T>
template <class U>
T& Array<T>::_EmplaceBackInNewBuffer(U&& value) {
    const uint64 capacity = std::bit_ceil(size_ + 1);
    if constexpr (kCopiedAsBytes) {
        const T made(std::forward<U>(value));  // which may lie in the block that is about to go
        _MoveToNewBuffer(capacity, size_);
        std::construct_at(data_ + size_, made);
        ++size_;
    } else {
        _NewBuffer buffer(capacity);
        buffer.Copy(data_, size_);
        buffer.Append(std::forward<U>(value));
        _TakeOver(buffer);
    }
    return data_[size_ - 1];
}

template <class T>
template <class Fill>
void Array<T>::__resize(uint64 count, Fill&& fill) {
    if (count <= size_)
        return _Truncate(count);

    const T value(std::forward<Fill>(fill));  // which may be an element
    if (!_IsUnique() || count > capacity())
        _MoveToNewBuffer(count, size_);
    std::uninitialized_fill_n(data_ + size_, count - size_, value);
    size_ = count;
}

template <class T>
template <class Fill>
void Array<T>::_Overwrite(uint64 count, Fill&& fill) {
    static_assert(kCopiedAsBytes);
    if (count == 0)
        return clear();
    _NewBuffer buffer(count);
    buffer.Overwrite(count, std::forward<Fill>(fill));
    _TakeOver(buffer);
}

template <class T>
void Array<T>::_Truncate(uint64 count) {
    if (count == size_)
        return;
    if (count == 0)
        return clear();

    if (!_IsUnique())
        return _MoveToNewBuffer(count, count);
    const uint64 removed = std::exchange(size_, count) - count;
    std::destroy_n(data_ + count, removed);
}

template <class T>
void Array<T>::clear() {
    if (_IsUnique())
        std::destroy_n(data_, std::exchange(size_, 0));
    else
        Array().swap(*this);
}

template <class T>
void Array<T>::reserve(uint64 count) {
    if (count > capacity())
        _MoveToNewBuffer(count, size_);
}

template <class T>
template <class U>
requires std::equality_comparable<U>
bool Array<T>::operator==(const Array& other) const {
    if (size_ != other.size_)
        return false;
    if (data_ == other.data_ && foreign_ == other.foreign_)
        return true;
    return std::equal(begin(), end(), other.begin());
}

template <class T>
void Array<T>::_AddRef() noexcept {
    if (foreign_)
        foreign_->ref_count.fetch_add(1);
    else if (data_)
        _Buffer(data_)->ref_count_.fetch_add(1);
}

template <class T>
void Array<T>::_DecRef() noexcept {
    static_assert(offsetof(Array, size_) == 0 && offsetof(Array, foreign_) == sizeof(uint64) &&
                  offsetof(Array, data_) == sizeof(uint64) + sizeof(void*));

    T* const data = std::exchange(data_, nullptr);
    ArrayOwner* const foreign = std::exchange(foreign_, nullptr);
    if (!data)
        return;

    if (foreign) {
        if (foreign->ref_count.fetch_sub(1) == 1 && foreign->release)
            foreign->release(foreign);
    } else if (_Buffer(data)->ref_count_.fetch_sub(1) == 1) {
        // All holders of a buffer have one size, since whoever changes his own leaves it first.
        _DestroyBuffer(data, size_);
    }
}

template <class T>
void Array<T>::_Detach() {
    _DetachCopyHook(__func__);
    _MoveToNewBuffer(size_, size_);
}

template <class T>
void Array<T>::_MoveToNewBuffer(uint64 capacity, uint64 keep) {
    if constexpr (kCopiedAsBytes) {
        if (_IsUnique()) {
            data_ = _Elements(ArrayBuffer<T>::_Reallocate(_Buffer(data_), capacity));
            return;
        }
    }
    _NewBuffer buffer(capacity);
    buffer.Copy(data_, keep);
    _TakeOver(buffer);
}

}  // namespace kiv

#endif  // KIV_BASE_ARRAY_H_
