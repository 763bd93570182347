#include "catalogue/progress.h"

#include <cinttypes>
#include <cstdio>

#include <unistd.h>

namespace catalogue {
namespace {

constexpr char kRemoveLine[] = "\r\033[K";

}  // namespace

Progress::Progress(bool wanted) : enabled_(wanted && ::isatty(STDERR_FILENO) == 1) {}

void Progress::Count(const char* step, kiv::uint64 count) {
    if (!enabled_)
        return;
    const Clock::time_point now = Clock::now();
    if (now < due_)
        return;
    due_ = now + std::chrono::milliseconds(100);
    std::fprintf(stderr, "%s%s: %" PRIu64, kRemoveLine, step, count);
    shown_ = true;
}

void Progress::Begin(const char* step) {
    if (!enabled_)
        return;
    std::fprintf(stderr, "%s%s", kRemoveLine, step);
    shown_ = true;
}

void Progress::Clear() {
    if (shown_)
        std::fputs(kRemoveLine, stderr);
    shown_ = false;
}

}  // namespace catalogue
