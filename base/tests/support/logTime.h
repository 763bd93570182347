// The clock and the zone of the log, as a test wants them; both are put back at its end.
//
//     FakeLogClock clock("2026-03-29 23:59:59", "Europe/Berlin");
//     clock.Set("2026-03-30 00:00:00");
#ifndef KIV_BASE_TESTS_LOG_TIME_H_
#define KIV_BASE_TESTS_LOG_TIME_H_

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <stdexcept>
#include <string>

#include "logging/logClock.h"

namespace kiv::testing {

class FakeLogClock {
public:
    explicit FakeLogClock(const std::string& time, const char* zone = "UTC") {
        if (const char* before = std::getenv("TZ"))
            zone_ = before;
        ::setenv("TZ", zone, 1);
        ::tzset();
        Set(time);
        logging::internal::setLogClock([] { return now_; });
    }
    ~FakeLogClock() {
        logging::internal::setLogClock(nullptr);
        zone_.empty() ? ::unsetenv("TZ") : ::setenv("TZ", zone_.c_str(), 1);
        ::tzset();
    }

    /// `time` is local, "2026-02-04 06:13:18"; the first of two such times where the clock is set
    /// back.
    void Set(const std::string& time) {
        std::tm local{};
        if (::strptime(time.c_str(), "%Y-%m-%d %H:%M:%S", &local) == nullptr)
            throw std::invalid_argument(time);
        local.tm_isdst = -1;
        now_ = std::chrono::system_clock::from_time_t(std::mktime(&local));
    }
    void Advance(std::chrono::nanoseconds step) { now_ += step; }
    logging::internal::LogTime Now() const { return now_; }

private:
    static inline logging::internal::LogTime now_;

    std::string zone_;
};

}  // namespace kiv::testing

#endif  // KIV_BASE_TESTS_LOG_TIME_H_
