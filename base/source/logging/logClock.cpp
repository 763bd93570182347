#include "logging/logClock.h"

#include <atomic>

#include <spdlog/details/os.h>

namespace kiv::logging::internal {
namespace {

constinit std::atomic<LogTime (*)()> replacedClock = nullptr;

}  // namespace

LogTime Now() {
    LogTime (*const clock)() = replacedClock.load(std::memory_order_relaxed);
    return clock ? clock() : std::chrono::system_clock::now();
}

void setLogClock(LogTime (*clock)()) {
    replacedClock.store(clock, std::memory_order_relaxed);
}

std::tm LocalTime(LogTime time) {
    return LocalTime(std::chrono::system_clock::to_time_t(time));
}

std::tm LocalTime(std::time_t seconds) {
    return spdlog::details::os::localtime(seconds);
}

LogTime TimeOfDay(std::tm day, int daysLater, int hour, int minute) {
    day.tm_mday += daysLater;
    day.tm_hour = hour;
    day.tm_min = minute;
    day.tm_sec = 0;
    day.tm_isdst = -1;  // as it is then, which need not be as it is on `day`
    return std::chrono::system_clock::from_time_t(std::mktime(&day));
}

}  // namespace kiv::logging::internal
