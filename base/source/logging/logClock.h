// The time as the log files see it, and the one place where it becomes a date.
#ifndef KIV_BASE_LOGGING_LOG_CLOCK_H_
#define KIV_BASE_LOGGING_LOG_CLOCK_H_

#include <chrono>
#include <ctime>

#include "kiv/base/export.h"

namespace kiv::logging::internal {

using LogTime = std::chrono::system_clock::time_point;

/// The present, as rotations, retention and the pauses after failures count it. Messages bring
/// their own time along.
LogTime Now();

/// Puts `clock` in the place of the system's clock, until it is set to null. For tests.
KIV_BASE_API void setLogClock(LogTime (*clock)());

/// In the zone of the process.
std::tm LocalTime(LogTime time);
std::tm LocalTime(std::time_t seconds);

/// The moment that `day`, so many days later, has this time of day. Counted on the calendar, not in
/// hours: a day on which the clocks change has 23 or 25 of them.
LogTime TimeOfDay(std::tm day, int daysLater, int hour, int minute);

}  // namespace kiv::logging::internal

#endif  // KIV_BASE_LOGGING_LOG_CLOCK_H_
