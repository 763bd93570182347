// Moments and spans, each one signed 64-bit number of nanoseconds.
//
// A moment is meaningful only beside another one of the same clock. No value is special, and 0 is a
// moment like any other. Sums that leave the range wrap around.
#ifndef KIV_BASE_TIME_POINT_H_
#define KIV_BASE_TIME_POINT_H_

#include <compare>

#include "kiv/base/integers.h"

namespace kiv {
namespace detail {

// Through unsigned numbers, since a stored time may be any number and a signed sum must not leave
// its range.
constexpr int64 WrappedSum(int64 a, int64 b) {
    return static_cast<int64>(static_cast<uint64>(a) + static_cast<uint64>(b));
}
constexpr int64 WrappedDifference(int64 a, int64 b) {
    return static_cast<int64>(static_cast<uint64>(a) - static_cast<uint64>(b));
}
constexpr int64 WrappedProduct(int64 a, int64 b) {
    return static_cast<int64>(static_cast<uint64>(a) * static_cast<uint64>(b));
}

}  // namespace detail

/// A span of time, which may be negative.
class TimeDelta {
public:
    constexpr TimeDelta() = default;

    static constexpr TimeDelta FromNanoseconds(int64 count) { return TimeDelta(count); }
    static constexpr TimeDelta FromMicroseconds(int64 count) {
        return TimeDelta(detail::WrappedProduct(count, 1'000));
    }
    static constexpr TimeDelta FromMilliseconds(int64 count) {
        return TimeDelta(detail::WrappedProduct(count, 1'000'000));
    }
    static constexpr TimeDelta FromSeconds(int64 count) {
        return TimeDelta(detail::WrappedProduct(count, 1'000'000'000));
    }

    constexpr int64 ToNanoseconds() const { return nanoseconds_; }
    // Whole units, rounded towards zero.
    constexpr int64 ToMicroseconds() const { return nanoseconds_ / 1'000; }
    constexpr int64 ToMilliseconds() const { return nanoseconds_ / 1'000'000; }
    constexpr int64 ToSeconds() const { return nanoseconds_ / 1'000'000'000; }

    constexpr TimeDelta operator+(TimeDelta other) const {
        return TimeDelta(detail::WrappedSum(nanoseconds_, other.nanoseconds_));
    }
    constexpr TimeDelta operator-(TimeDelta other) const {
        return TimeDelta(detail::WrappedDifference(nanoseconds_, other.nanoseconds_));
    }
    constexpr TimeDelta operator-() const { return TimeDelta() - *this; }

    constexpr auto operator<=>(const TimeDelta& other) const = default;

private:
    explicit constexpr TimeDelta(int64 nanoseconds) : nanoseconds_(nanoseconds) {}

    int64 nanoseconds_ = 0;
};

/// A moment.
class TimePoint {
public:
    constexpr TimePoint() = default;

    /// From a number of nanoseconds since the origin of the clock, and back: the stored form.
    static constexpr TimePoint FromTicks(int64 nanoseconds) { return TimePoint(nanoseconds); }
    constexpr int64 ToTicks() const { return ticks_; }

    constexpr TimePoint operator+(TimeDelta span) const {
        return TimePoint(detail::WrappedSum(ticks_, span.ToNanoseconds()));
    }
    constexpr TimePoint operator-(TimeDelta span) const {
        return TimePoint(detail::WrappedDifference(ticks_, span.ToNanoseconds()));
    }
    constexpr TimeDelta operator-(TimePoint other) const {
        return TimeDelta::FromNanoseconds(detail::WrappedDifference(ticks_, other.ticks_));
    }

    constexpr auto operator<=>(const TimePoint& other) const = default;

private:
    explicit constexpr TimePoint(int64 nanoseconds) : ticks_(nanoseconds) {}

    int64 ticks_ = 0;
};

static_assert(sizeof(TimeDelta) == sizeof(int64));
static_assert(sizeof(TimePoint) == sizeof(int64));

}  // namespace kiv

#endif  // KIV_BASE_TIME_POINT_H_
