// Catches what reaches spdlog's default logger while it lives, in place of the logger's own sinks.
//
//     LogCatcher log;
//     archive.Serialize(...);
//     const LogLine expected{LogLevel::Warn, "[domain:kiv.base][tag:Archive]..."};
//     EXPECT_THAT(log.Take(), ElementsAre(expected));
//
// It takes messages of every level and from any thread, and puts sinks and level back at its end.
#ifndef KIV_BASE_TESTS_LOG_CATCHER_H_
#define KIV_BASE_TESTS_LOG_CATCHER_H_

#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <spdlog/sinks/base_sink.h>
#include <spdlog/spdlog.h>

#include "kiv/base/logging.h"

namespace kiv::testing {

struct LogLine {
    LogLevel level;
    std::string payload;

    bool operator==(const LogLine&) const = default;
    friend void PrintTo(const LogLine& line, std::ostream* out) {
        *out << static_cast<int32>(line.level) << " " << line.payload;
    }
};

class LogCatcher {
public:
    LogCatcher()
        : sinks_(std::exchange(spdlog::default_logger()->sinks(), {sink_})),
          level_(spdlog::default_logger()->level()) {
        spdlog::default_logger()->set_level(spdlog::level::trace);
    }
    ~LogCatcher() {
        spdlog::default_logger()->sinks() = sinks_;
        spdlog::default_logger()->set_level(level_);
    }

    /// What was caught since the last call, oldest first.
    std::vector<LogLine> Take() { return sink_->Take(); }

private:
    class Sink : public spdlog::sinks::base_sink<std::mutex> {
    public:
        std::vector<LogLine> Take() {
            std::lock_guard lock(mutex_);
            return std::exchange(lines_, {});
        }

    private:
        void sink_it_(const spdlog::details::log_msg& message) override {
            lines_.push_back({logging::toLogLevel(message.level, nullptr),
                              std::string(message.payload.data(), message.payload.size())});
        }
        void flush_() override {}

        std::vector<LogLine> lines_;
    };

    std::shared_ptr<Sink> sink_ = std::make_shared<Sink>();
    std::vector<spdlog::sink_ptr> sinks_;
    spdlog::level::level_enum level_;
};

}  // namespace kiv::testing

#endif  // KIV_BASE_TESTS_LOG_CATCHER_H_
