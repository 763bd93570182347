#include "kiv/base/spinMutex.h"

#include <thread>

#if defined(__x86_64__) || defined(_M_X64)
#include <immintrin.h>
#endif

namespace kiv::detail {
namespace {

// The longest that a holder on another processor should need; from then on this thread's time is
// better spent elsewhere.
constexpr int kPauses = 32;

void Pause() {
#if defined(__x86_64__) || defined(_M_X64)
    _mm_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

}  // namespace

void SpinMutex::_AcquireContended() noexcept {
    if (try_lock())
        return;
    for (int i = 0; i < kPauses; ++i) {
        Pause();
        if (try_lock())
            return;
    }
    do
        std::this_thread::yield();
    while (!try_lock());
}

}  // namespace kiv::detail
