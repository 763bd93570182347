// A lock of one byte, for sections of a few instructions that threads rarely meet in. It is not
// recursive, and is never held across code of a caller; where somebody may wait long, take a
// `std::mutex`.
//
//     SpinMutex::ScopedLock lock(mutex_);
#ifndef KIV_BASE_SPIN_MUTEX_H_
#define KIV_BASE_SPIN_MUTEX_H_

#include <atomic>

#include "kiv/base/export.h"
#include "kiv/base/integers.h"

namespace kiv::detail {

class KIV_BASE_API SpinMutex {
public:
    class ScopedLock;

    constexpr SpinMutex() noexcept = default;
    SpinMutex(const SpinMutex&) = delete;
    SpinMutex& operator=(const SpinMutex&) = delete;

    void lock() noexcept {
        if (!try_lock())
            _AcquireContended();
    }
    /// True if the lock was free, and is now held by the caller.
    [[nodiscard]] bool try_lock() noexcept { return state_.exchange(kHeld) == kFree; }
    void unlock() noexcept { state_.store(kFree, std::memory_order_release); }  // for try_lock

private:
    static constexpr uint8 kFree = 0;
    static constexpr uint8 kHeld = 1;

    void _AcquireContended() noexcept;

    std::atomic<uint8> state_{kFree};
};

static_assert(sizeof(SpinMutex) == 1);

/// Holds a mutex until the end of the block, or for parts of it.
class SpinMutex::ScopedLock {
public:
    explicit ScopedLock(SpinMutex& mutex) noexcept : mutex_(&mutex) { lock(); }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;
    ~ScopedLock() {
        if (owns_)
            unlock();
    }

    void lock() noexcept {
        mutex_->lock();
        owns_ = true;
    }
    void unlock() noexcept {
        owns_ = false;
        mutex_->unlock();
    }

private:
    SpinMutex* mutex_;
    bool owns_ = false;
};

}  // namespace kiv::detail

#endif  // KIV_BASE_SPIN_MUTEX_H_
