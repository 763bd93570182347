#include "kiv/base/check.h"
#include "kiv/base/logging.h"

namespace kiv {

LogMessage2::LogMessage2(Logger2& logger, LogLevel level, const char* file, int line, const char*)
    : logger_(&logger), level_(level), file_(file), line_(line) {}

LogMessage2::~LogMessage2() {
    try {
        logging::printLog(logger_->name_.c_str(), level_, "", "%s:%d: %s", file_, line_,
                          stream_.c_str());
    } catch (...) {
        // A check site stops nothing, not even when its message can't be logged.
    }
}

namespace detail {

void ReportFailedCheck(const char* file, int line, const char* condition,
                       const char* explanation) noexcept {
    try {
        LogMessage2 message(baseLogger, LogLevel::Fatal, file, line, condition);
        message.stream() << "Check failed: " << condition;
        if (explanation)
            message.stream() << ": " << explanation;
    } catch (...) {
        // Nor when there is no memory for its message: checks stand in code that must not throw.
    }
}

}  // namespace detail
}  // namespace kiv
