#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string_view>

#include <spdlog/sinks/sink.h>
#include <spdlog/spdlog.h>

#include "kiv/base/logging.h"
#include "kiv/base/status.h"
#include "logging/plainFormat.h"

namespace kiv::logging {
namespace {

// By LogLevel.
constexpr spdlog::level::level_enum kLevels[] = {spdlog::level::debug, spdlog::level::info,
                                                 spdlog::level::warn, spdlog::level::err,
                                                 spdlog::level::critical};
static_assert(std::size(kLevels) == static_cast<std::size_t>(LogLevel::Fatal) + 1);

spdlog::level::level_enum toSpdlogLevel(LogLevel level) {
    return kLevels[static_cast<std::size_t>(std::clamp(level, LogLevel::Debug, LogLevel::Fatal))];
}

bool isTaken(const spdlog::logger& logger, spdlog::level::level_enum level) {
    if (logger.should_backtrace())
        return true;
    if (!logger.should_log(level))
        return false;
    // A message at the flush level flushes the sinks even if none of them takes it.
    return level >= logger.flush_level() ||
           std::any_of(logger.sinks().begin(), logger.sinks().end(),
                       [&](const spdlog::sink_ptr& sink) { return sink->should_log(level); });
}

char* put(char* to, std::string_view text) {
    std::memcpy(to, text.data(), text.size());
    return to + text.size();
}

void appendPrefix(spdlog::memory_buf_t& payload, std::string_view domain, std::string_view tag) {
    constexpr std::string_view kDomain = "[domain:";
    constexpr std::string_view kTag = "[tag:";
    const std::size_t tagged = tag.empty() ? 0 : kTag.size() + tag.size() + 1;
    payload.resize(kDomain.size() + domain.size() + 1 + tagged);
    char* end = put(put(payload.data(), kDomain), domain);
    *end++ = ']';
    if (tagged != 0)
        *put(put(end, kTag), tag) = ']';
}

void appendByTheCFormatter(spdlog::memory_buf_t& payload, const char* format, va_list args) {
    const std::size_t used = payload.size();
    va_list again;
    va_copy(again, args);

    // The measuring pass writes into what room there is at once.
    const std::size_t room = payload.capacity() - used;
    const int length = std::vsnprintf(payload.data() + used, room, format, args);
    if (length < 0) {
        const std::string_view text = format;
        payload.resize(used + text.size());
        put(payload.data() + used, text);
    } else if (static_cast<std::size_t>(length) < room) {
        payload.resize(used + length);
    } else {
        payload.resize(used + length + 1);
        std::vsnprintf(payload.data() + used, length + std::size_t{1}, format, again);
        payload.resize(used + length);
    }
    va_end(again);
}

void appendFormatted(spdlog::memory_buf_t& payload, const char* format, va_list args) {
    va_list trial;
    va_copy(trial, args);
    char* const room = payload.data() + payload.size();
    const char* const end =
        internal::FormatPlain(room, payload.data() + payload.capacity(), format, trial);
    va_end(trial);
    if (end)
        payload.resize(payload.size() + (end - room));
    else
        appendByTheCFormatter(payload, format, args);
}

}  // namespace

void printLog(const char* domain, LogLevel level, const char* tag, const char* format, ...) {
    va_list args;
    va_start(args, format);
    vprintLog(domain, level, tag, format, args);
    va_end(args);
}

void vprintLog(const char* domain, LogLevel level, const char* tag, const char* format,
               va_list args) {
    spdlog::logger* const logger = spdlog::default_logger_raw();
    const spdlog::level::level_enum spdlogLevel = toSpdlogLevel(level);
    // There is no default logger once spdlog has been shut down.
    if (!logger || !isTaken(*logger, spdlogLevel))
        return;

    spdlog::memory_buf_t payload;
    appendPrefix(payload, domain, tag);
    appendFormatted(payload, format, args);
    logger->log(spdlog::source_loc(), spdlogLevel,
                spdlog::string_view_t(payload.data(), payload.size()));
}

void setLogLevel(LogLevel level) {
    spdlog::set_level(toSpdlogLevel(level));
}

LogLevel logLevel(Status* status) {
    // There is no default logger once spdlog has been shut down, and then everything is off.
    const spdlog::logger* const logger = spdlog::default_logger_raw();
    return toLogLevel(logger ? logger->level() : spdlog::level::off, status);
}

LogLevel toLogLevel(spdlog::level::level_enum level, Status* status) {
    StatusPtr result(status);
    const auto found = std::find(std::begin(kLevels), std::end(kLevels), level);
    if (found == std::end(kLevels)) {
        result = Status::Failure;
        return LogLevel::Debug;
    }
    return static_cast<LogLevel>(found - std::begin(kLevels));
}

void setBacktrace(uint64 count) {
    spdlog::enable_backtrace(count);
}

}  // namespace kiv::logging
