#include "kiv/base/logSetup.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <memory>
#include <utility>
#include <vector>

#include <spdlog/spdlog.h>

#include "kiv/base/logFiles.h"
#include "kiv/base/paths.h"
#include "logging/payloadFields.h"

namespace kiv::logging {
namespace {

using Sinks = std::vector<spdlog::sink_ptr>;

LogMessage takenApart(const spdlog::details::log_msg& msg) {
    const auto [domain, tag, message] =
        internal::SplitPayload({msg.payload.data(), msg.payload.size()});
    LogMessage record;
    record.domain = domain;
    record.tag = tag;
    record.line = msg.source.line;
    record.level = toLogLevel(msg.level, nullptr);
    record.timestamp =
        std::chrono::duration_cast<std::chrono::nanoseconds>(msg.time.time_since_epoch()).count();
    record.threadId = msg.thread_id;
    record.message = message;
    return record;
}

// Changes the sinks of the default logger, under the lock that spdlog's flushing thread holds:
// nobody could know when that thread is not at work. What goes, goes behind the lock.
template <class Change>
void changeSinks(Change change) {
    Sinks before;
    spdlog::apply_all([&](const std::shared_ptr<spdlog::logger>& logger) {
        if (logger.get() != spdlog::default_logger_raw())
            return;
        before = logger->sinks();
        change(logger->sinks());
    });
}

void makeOwnSinksTheOnlyOnes() {
    changeSinks([](Sinks& sinks) {
        sinks = {consoleSink, fileSink, callbackSink};
        std::erase(sinks, nullptr);
    });
}

void passAll(spdlog::sinks::sink* sink, bool on) {
    if (sink)
        sink->set_level(on ? spdlog::level::trace : spdlog::level::off);
}

// In full, so that sink and clean-up mean one place, whatever becomes the current directory. What
// has no such form, for a null character or a current directory that is gone, can't be opened.
std::string logDirectory(const std::string& directory, bool useLogsSubdirectory) {
    std::string logs = paths::AbsolutePath(directory);
    if (logs.empty())
        logs = directory.empty() ? "." : directory;
    return useLogsSubdirectory ? paths::JoinPaths({logs, "logs"}) : logs;
}

std::shared_ptr<FileSink> makeFileSink(const std::string& directory, int keepDays) {
    constexpr int kMostFiles = 0xFFFF;
    const bool counted = keepDays >= 0 && keepDays <= kMostFiles;
    return std::make_shared<FileSink>(
        paths::Utf8PathToLocal(paths::JoinPaths({directory, LOG_FILE_BASENAME_EXT})), 0, 0, false,
        static_cast<unsigned short>(counted ? keepDays : 0), spdlog::file_event_handlers());
}

// Gives spdlog's default logger a failure that it didn't see itself: to the handler that it was
// given, or to its own, which writes to standard error once a second.
class DefaultLogger : public spdlog::logger {
public:
    static void handleError(const std::string& what) {
        if (spdlog::logger* const logger = spdlog::default_logger_raw())
            (logger->*&DefaultLogger::err_handler_)(what);
    }
};

}  // namespace

void initLog(int keepDays, const std::string& directory, const std::string& baseName,
             bool useLogsSubdirectory) {
    if (!baseName.empty()) {
        LOG_FILE_BASENAME = baseName;
        LOG_FILE_BASENAME_EXT = baseName + ".log";
    }
    const std::string logs = logDirectory(
        directory.empty() ? paths::GetKIVEDataDirectory() : directory, useLogsSubdirectory);

    consoleSink = std::make_shared<ConsoleSink>();
    fileSink = makeFileSink(logs, keepDays);
    callbackSink = std::make_shared<CallbackSink>([](const spdlog::details::log_msg&) {});
    makeOwnSinksTheOnlyOnes();

    spdlog::flush_every(std::chrono::seconds(3));
    cleanupOldFiles(logs, keepDays);
    spdlog::set_level(spdlog::level::debug);
}

void SetLogDirectory(const std::string& directory, int keepDays, bool useLogsSubdirectory) {
    const std::string logs = logDirectory(directory, useLogsSubdirectory);
    const std::shared_ptr<FileSink> sink = makeFileSink(logs, keepDays);
    if (fileSink)
        sink->set_level(fileSink->level());
    changeSinks([&sink](Sinks& sinks) {
        const auto old = fileSink ? std::find(sinks.begin(), sinks.end(), fileSink) : sinks.end();
        if (old != sinks.end())
            *old = sink;
        else
            sinks.push_back(sink);
    });
    fileSink = sink;
    cleanupOldFiles(logs, keepDays);
}

void enableLogToConsole(bool on) {
    passAll(consoleSink.get(), on);
}

void enableLogToFile(bool on) {
    passAll(fileSink.get(), on);
}

void enableLogCallback(bool on) {
    passAll(callbackSink.get(), on);
}

void setLogCallback(std::function<void(const LogMessage&)> callback) {
    callbackSink = std::make_shared<CallbackSink>(
        [callback = std::move(callback)](const spdlog::details::log_msg& msg) {
            callback(takenApart(msg));
        });
    makeOwnSinksTheOnlyOnes();
}

void flushToFile() {
    if (!fileSink)
        return;
    try {
        fileSink->flush();
    } catch (const std::exception& failure) {
        DefaultLogger::handleError(failure.what());
    }
}

}  // namespace kiv::logging
