// The library's shared ownership: a reference count in the object's own base class, and the pointer
// that keeps it.
//
//     class Texture : public RefCountedThreadSafe<Texture> { ... };
//     RefPtr<Texture> texture = MakeRefCounted<Texture>(width, height);
//
// A class that hides its destructor, so that nobody deletes past the count, befriends its base:
//
//     friend class RefCountedThreadSafe<Texture>;
//
// An object starts with a count of 1, which belongs to its creator: `MakeRefCounted` adopts it,
// while a `RefPtr` that is built from a raw pointer adds one of its own. Counts change from any
// thread; one `RefPtr` object belongs to one thread at a time.
#ifndef KIV_BASE_REF_PTR_H_
#define KIV_BASE_REF_PTR_H_

#include <atomic>
#include <concepts>
#include <cstddef>
#include <functional>
#include <utility>

#include "kiv/base/export.h"
#include "kiv/base/integers.h"

namespace kiv {
namespace detail {

/// The count itself, which knows nothing of the class that it counts for.
class KIV_BASE_API RefCountedThreadSafeBase {
public:
    RefCountedThreadSafeBase(const RefCountedThreadSafeBase&) = delete;
    RefCountedThreadSafeBase& operator=(const RefCountedThreadSafeBase&) = delete;

    void AddRef() const noexcept { ref_count_.fetch_add(1); }

    bool HasOneRef() const noexcept { return ref_count_.load() == 1; }
    /// For tests and logs: another thread may have changed it by the time it is read.
    uint32 RefCount() const noexcept { return ref_count_.load(); }

protected:
    RefCountedThreadSafeBase() = default;
    ~RefCountedThreadSafeBase() = default;

    /// True for the caller who took the last reference away.
    bool _DropRef() const noexcept { return ref_count_.fetch_sub(1) == 1; }

private:
    mutable std::atomic<uint32> ref_count_{1};
};

static_assert(sizeof(RefCountedThreadSafeBase) == sizeof(uint32));

}  // namespace detail

/// The base of a counted class `T`. The last release deletes the object as a `T`; whether that
/// reaches a derived class is for the destructor of `T` to say. A `T` with a static operation
/// `_DestroyUnreferenced(const T*)` is handed to that instead.
template <class T>
class RefCountedThreadSafe : public detail::RefCountedThreadSafeBase {
public:
    void Release() const {
        if (!_DropRef())
            return;
        if constexpr (requires(const T* object) { T::_DestroyUnreferenced(object); })
            T::_DestroyUnreferenced(static_cast<const T*>(this));
        else
            delete static_cast<const T*>(this);
    }

protected:
    RefCountedThreadSafe() = default;
    ~RefCountedThreadSafe() = default;
};

/// A pointer that owns one reference, or null. `T` may be incomplete where a `RefPtr<T>` is only
/// declared.
template <class T>
class RefPtr {
public:
    using element_type = T;

    constexpr RefPtr() noexcept = default;
    constexpr RefPtr(std::nullptr_t) noexcept {}
    /// Adds a reference, so a fresh `new T` would leak here: that is what `MakeRefCounted` is for.
    RefPtr(T* pointer) : pointer_(pointer) {
        if (pointer_)
            pointer_->AddRef();
    }
    RefPtr(const RefPtr& other) : RefPtr(other.pointer_) {}
    RefPtr(RefPtr&& other) noexcept : pointer_(other.Release()) {}
    template <class U>
    requires std::convertible_to<U*, T*> RefPtr(const RefPtr<U>& other) : RefPtr(other.get()) {}
    template <class U>
    requires std::convertible_to<U*, T*> RefPtr(RefPtr<U>&& other)
    noexcept : pointer_(other.Release()) {}
    ~RefPtr() {
        if (pointer_)
            pointer_->Release();
        pointer_ = nullptr;
    }

    /// Serves every assignment. What was held before is released last, when the new value is in
    /// place already, since its destructor may look at this very pointer.
    RefPtr& operator=(RefPtr other) noexcept {
        swap(other);
        return *this;
    }

    /// Takes over a reference that the caller owns, without adding one.
    [[nodiscard]] static RefPtr Adopt(T* pointer) noexcept {
        RefPtr adopted;
        adopted.pointer_ = pointer;
        return adopted;
    }
    /// Hands the reference to the caller, who has to `Adopt` or release it, and is null afterwards.
    [[nodiscard]] T* Release() noexcept { return std::exchange(pointer_, nullptr); }
    void reset() { RefPtr().swap(*this); }
    void swap(RefPtr& other) noexcept { std::swap(pointer_, other.pointer_); }
    friend void swap(RefPtr& a, RefPtr& b) noexcept { a.swap(b); }

    T* get() const noexcept { return pointer_; }
    T* operator->() const noexcept { return pointer_; }
    T& operator*() const noexcept { return *pointer_; }
    explicit operator bool() const noexcept { return pointer_ != nullptr; }

private:
    T* pointer_ = nullptr;
};

static_assert(sizeof(RefPtr<detail::RefCountedThreadSafeBase>) == sizeof(void*));

template <class T, class U>
bool operator==(const RefPtr<T>& a, const RefPtr<U>& b) noexcept {
    return a.get() == b.get();
}
template <class T, class U>
bool operator==(const RefPtr<T>& a, U* b) noexcept {
    return a.get() == b;
}
template <class T>
bool operator==(const RefPtr<T>& a, std::nullptr_t) noexcept {
    return !a;
}

/// Makes a `T`, and adopts the count of 1 that it starts with.
template <class T, class... Args>
[[nodiscard]] RefPtr<T> MakeRefCounted(Args&&... args) {
    return RefPtr<T>::Adopt(new T(std::forward<Args>(args)...));
}

}  // namespace kiv

template <class T>
struct std::hash<kiv::RefPtr<T>> {
    std::size_t operator()(const kiv::RefPtr<T>& pointer) const noexcept {
        return std::hash<T*>()(pointer.get());
    }
};

#endif  // KIV_BASE_REF_PTR_H_
