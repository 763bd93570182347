// A pointer that knows whether its object has gone, through a flag that both share.
//
// It keeps nothing alive and reading it gives a plain pointer, so it is safe on the thread that
// invalidates the flag, or while something else holds the object. Take a `RefPtr` to own.
//
// A class that hands out weak pointers makes the flag with `new`, owns the count of 1 that it
// starts with, and calls `Invalidate` and then `Release` when it dies.
#ifndef KIV_BASE_WEAK_PTR_H_
#define KIV_BASE_WEAK_PTR_H_

#include <atomic>
#include <cstddef>
#include <utility>

#include "kiv/base/export.h"
#include "kiv/base/integers.h"

namespace kiv {
namespace detail {

/// Counted on any thread; `Invalidate` and `IsValid` belong to the object's own thread. Whoever
/// brings the count to 0 deletes it.
class KIV_BASE_API WeakPtrFlag {
public:
    WeakPtrFlag() = default;
    WeakPtrFlag(const WeakPtrFlag&) = delete;
    WeakPtrFlag& operator=(const WeakPtrFlag&) = delete;

    void AddRef() noexcept { ref_count_.fetch_add(1); }
    void Release() noexcept {
        if (ref_count_.fetch_sub(1) == 1)
            delete this;
    }
    void Invalidate() noexcept { valid_ = false; }

    bool IsValid() const noexcept { return valid_; }
    uint32 RefCount() const noexcept { return ref_count_.load(); }

private:
    ~WeakPtrFlag() {
        static_assert(offsetof(WeakPtrFlag, ref_count_) == 0 &&
                      offsetof(WeakPtrFlag, valid_) == sizeof(uint32));
    }

    std::atomic<uint32> ref_count_{1};
    bool valid_ = true;
};

}  // namespace detail

template <class T>
class WeakPtr {
public:
    /// Refers to nothing, and needs no flag to say so.
    constexpr WeakPtr() noexcept = default;
    /// Refers to `object` for as long as `flag` is valid. Adds a reference to the flag.
    WeakPtr(T* object, detail::WeakPtrFlag* flag) noexcept : object_(object), flag_(flag) {
        if (flag_)
            flag_->AddRef();
    }
    WeakPtr(const WeakPtr& other) noexcept : WeakPtr(other.object_, other.flag_) {}
    WeakPtr(WeakPtr&& other) noexcept
        : object_(std::exchange(other.object_, nullptr)),
          flag_(std::exchange(other.flag_, nullptr)) {}
    WeakPtr& operator=(WeakPtr other) noexcept {
        std::swap(object_, other.object_);
        std::swap(flag_, other.flag_);
        return *this;
    }
    ~WeakPtr() {
        static_assert(offsetof(WeakPtr, object_) == 0 && offsetof(WeakPtr, flag_) == sizeof(T*));
        if (detail::WeakPtrFlag* const flag = std::exchange(flag_, nullptr))
            flag->Release();
    }

    /// The object, or null once it has gone.
    T* get() const noexcept { return flag_ && flag_->IsValid() ? object_ : nullptr; }
    explicit operator bool() const noexcept { return get() != nullptr; }

private:
    T* object_ = nullptr;
    detail::WeakPtrFlag* flag_ = nullptr;
};

static_assert(sizeof(WeakPtr<int>) == 2 * sizeof(void*));

}  // namespace kiv

#endif  // KIV_BASE_WEAK_PTR_H_
