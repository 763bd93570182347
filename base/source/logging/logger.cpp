#include "kiv/base/logging.h"

namespace kiv {
namespace logging {

Logger::Logger(const char* name) : name_(name) {}

Logger::~Logger() = default;

void Logger::_Log(LogLevel level, const char* tag, const char* format, ...) {
    va_list args;
    va_start(args, format);
    vprintLog(name_.c_str(), level, tag, format, args);
    va_end(args);
}

}  // namespace logging

Logger2::Logger2(const char* name) : name_(name) {}

Logger2::~Logger2() = default;

#define KIV_LOG_ABOVE_THRESHOLD(level)                          \
    if ((level) < GetLogLevel())                                \
        return;                                                 \
    va_list args;                                               \
    va_start(args, format);                                     \
    logging::vprintLog(name_.c_str(), level, "", format, args); \
    va_end(args)

void Logger2::Debug(const char* format, ...) {
    KIV_LOG_ABOVE_THRESHOLD(LogLevel::Debug);
}

void Logger2::Info(const char* format, ...) {
    KIV_LOG_ABOVE_THRESHOLD(LogLevel::Info);
}

void Logger2::Warn(const char* format, ...) {
    KIV_LOG_ABOVE_THRESHOLD(LogLevel::Warn);
}

void Logger2::Error(const char* format, ...) {
    KIV_LOG_ABOVE_THRESHOLD(LogLevel::Error);
}

void Logger2::Fatal(const char* format, ...) {
    KIV_LOG_ABOVE_THRESHOLD(LogLevel::Fatal);
}

void Logger2::Out(LogLevel level, const char* format, ...) {
    KIV_LOG_ABOVE_THRESHOLD(level);
}

#undef KIV_LOG_ABOVE_THRESHOLD

}  // namespace kiv
