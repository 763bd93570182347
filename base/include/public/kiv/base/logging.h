// The log front end: what all code calls to log. Setting up sinks and files is in logSetup.h.
//
//     baseLogger2.log(LogLevel::Error, "Archive", "Cannot find type %s", name.c_str());
//
// A message passes three filters: the threshold of its logger object, the level of spdlog's default
// logger (`setLogLevel`), and the level of each sink. What no filter lets through is not formatted.
// The sinks get "[domain:kiv.base][tag:Archive]Cannot find type Sample" as finished text.
//
// Every function may be called from any thread; from a sink or a callback those that log or set the
// level or the backtrace could wait for ever. `Fatal` is a level like the others: its messages go
// the same way, and the process goes on.
//
// What a sink throws goes to the error handler of spdlog, but for what is no `std::exception`: that
// reaches the caller, as does `std::bad_alloc` where there is no memory for the text.
#ifndef KIV_BASE_LOGGING_H_
#define KIV_BASE_LOGGING_H_

#include <atomic>
#include <cstdarg>
#include <string>
#include <type_traits>

#include "kiv/base/export.h"
#include "kiv/base/integers.h"
#include "kiv/base/printStream.h"

namespace spdlog::level {
enum level_enum : int;
}

namespace kiv {

class Status;

enum class LogLevel : int32 { Debug, Info, Warn, Error, Fatal };

namespace logging {

/// Logs a printf-style text. `domain`, `tag` and `format` are not null; an empty `tag` means none.
/// A level outside `LogLevel` counts as the nearest one. Where the C formatter rejects the format,
/// the format itself is the text.
[[gnu::format(printf, 4, 5)]] KIV_BASE_API void printLog(const char* domain, LogLevel level,
                                                         const char* tag, const char* format, ...);
[[gnu::format(printf, 4, 0)]] KIV_BASE_API void vprintLog(const char* domain, LogLevel level,
                                                          const char* tag, const char* format,
                                                          va_list args);
/// `vprintLog` under the first name, for a list as functions are handed it: a pointer on some
/// systems, a struct on others. A template, since it converts nothing on the way: a literal 0
/// behind "%d" would pass for a list.
template <class List>
requires(std::is_pointer_v<List> || std::is_class_v<List>) &&
    requires(List list, void (*take)(va_list)) {
    take(list);
}
[[gnu::format(printf, 4, 0)]] void printLog(const char* domain, LogLevel level, const char* tag,
                                            const char* format, List args) {
    vprintLog(domain, level, tag, format, args);
}

/// Sets the level of all of spdlog's loggers.
KIV_BASE_API void setLogLevel(LogLevel level);
/// The level of spdlog's default logger, as `toLogLevel` maps it; after `spdlog::shutdown`, there
/// being none, `Status::Failure` and `LogLevel::Debug`.
KIV_BASE_API LogLevel logLevel(Status* status);
/// The counterpart of a level of spdlog. `trace` and `off` have none: `Status::Failure` and
/// `LogLevel::Debug`. `status` may be null.
KIV_BASE_API LogLevel toLogLevel(spdlog::level::level_enum level, Status* status);

/// Keeps the last `count` messages of every level, also those below the log level, for
/// `spdlog::dump_backtrace`. Each of spdlog's loggers takes the memory for so many at once, a few
/// hundred bytes a message; what it throws without that much reaches the caller.
KIV_BASE_API void setBacktrace(uint64 count);

/// A domain with a threshold, for messages that carry a tag.
class KIV_BASE_API Logger {
public:
    /// The threshold is `LogLevel::Debug`.
    explicit Logger(const char* name);
    ~Logger();
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    /// `tag` names the class or function that logs. Below the threshold nothing is looked at. It
    /// has no address with GCC, which inlines each call.
    [[gnu::format(printf, 4, 5), gnu::always_inline]] void log(LogLevel level, const char* tag,
                                                               const char* format, ...);
    void setLogLevel(LogLevel level) { level_.store(level, std::memory_order_relaxed); }

private:
    [[gnu::format(printf, 4, 5)]] void _Log(LogLevel level, const char* tag, const char* format,
                                            ...);

    std::string name_;
    std::atomic<LogLevel> level_ = LogLevel::Debug;
};

// A message below the threshold costs a comparison where it is called. Only GCC can hand arguments
// on from there; others call a function of their own module for it.
inline void Logger::log(LogLevel level, const char* tag, const char* format, ...) {
    if (level < level_.load(std::memory_order_relaxed))
        return;
#if defined(__GNUC__) && !defined(__clang__)
    _Log(level, tag, format, __builtin_va_arg_pack());
#else
    va_list args;
    va_start(args, format);
    vprintLog(name_.c_str(), level, tag, format, args);
    va_end(args);
#endif
}

}  // namespace logging

/// A domain with a threshold, for messages without a tag; check sites report through one.
class KIV_BASE_API Logger2 {
public:
    /// The threshold is `LogLevel::Debug`.
    explicit Logger2(const char* name);
    ~Logger2();
    Logger2(const Logger2&) = delete;
    Logger2& operator=(const Logger2&) = delete;

    [[gnu::format(printf, 2, 3)]] void Debug(const char* format, ...);
    [[gnu::format(printf, 2, 3)]] void Info(const char* format, ...);
    [[gnu::format(printf, 2, 3)]] void Warn(const char* format, ...);
    [[gnu::format(printf, 2, 3)]] void Error(const char* format, ...);
    [[gnu::format(printf, 2, 3)]] void Fatal(const char* format, ...);
    /// Logs at `level`, if that is not below the threshold.
    [[gnu::format(printf, 3, 4)]] void Out(LogLevel level, const char* format, ...);

    void SetLogLevel(LogLevel level) { level_.store(level, std::memory_order_relaxed); }
    LogLevel GetLogLevel() const { return level_.load(std::memory_order_relaxed); }
    /// There are no verbosity levels below `LogLevel::Debug`: always -1.
    int GetVlogLevel() const { return -1; }
    /// Always true: a `LogMessage2` reports whatever the threshold.
    bool ShouldCreateLogMessage(LogLevel level) const { return _ShouldCreateLogMessage(level); }

private:
    friend class LogMessage2;

    bool _ShouldCreateLogMessage(LogLevel) const { return true; }

    std::string name_;
    std::atomic<LogLevel> level_ = LogLevel::Debug;
};

/// One message under construction. Its end logs "file:line: " and the text of the stream, without a
/// tag; it throws nothing.
class KIV_BASE_API LogMessage2 {
public:
    /// `file` outlives the message. `condition` is for the caller to stream.
    LogMessage2(Logger2& logger, LogLevel level, const char* file, int line, const char* condition);
    ~LogMessage2();
    LogMessage2(const LogMessage2&) = delete;
    LogMessage2& operator=(const LogMessage2&) = delete;

    io::ostream& stream() { return stream_; }

private:
    Logger2* logger_;
    LogLevel level_;
    const char* file_;
    int line_;
    io::sstream stream_;
};

/// Both have the domain "kiv.base". The library logs through `baseLogger2`; `baseLogger` is that of
/// the check sites.
KIV_BASE_API extern Logger2 baseLogger;
KIV_BASE_API extern logging::Logger baseLogger2;

}  // namespace kiv

#endif  // KIV_BASE_LOGGING_H_
