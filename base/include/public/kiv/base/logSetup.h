// Setting the log up: where its lines go, which files stay, and a callback that hears of each
// message. Code that only logs takes logging.h; who works with the sinks themselves, logFiles.h.
//
//     logging::initLog(14, "/var/log/engine", "engine", false);
//     logging::setLogCallback([](const LogMessage& m) { show(m.level, m.message); });
//     logging::enableLogToConsole(false);
//
// From then on messages go to a file a day, "engine_2026-02-04.log", and to the callback, and no
// longer to the console. The file is made by the first message, with its directory, so a process
// that logs nothing leaves nothing behind. Files older than 14 days go at once, and when midnights
// have begun a 15th file since, the oldest of these goes.
//
// What replaces sinks (`initLog`, `SetLogDirectory`, `setLogCallback`) is called while no other
// thread logs; switching and flushing are safe from any thread. What goes wrong with a sink goes to
// the error handler of spdlog's default logger, which by default writes to standard error, at most
// once a second; logging.h says what reaches the caller nevertheless. After `spdlog::shutdown`
// nothing logs any more, and `initLog` doesn't change that.
#ifndef KIV_BASE_LOG_SETUP_H_
#define KIV_BASE_LOG_SETUP_H_

#include <functional>
#include <string>

#include "kiv/base/export.h"
#include "kiv/base/integers.h"
#include "kiv/base/logging.h"

namespace kiv {

/// A message as a log callback gets it, taken apart.
struct LogMessage {
    std::string domain;
    std::string tag;   // empty if there is none
    std::string file;  // always empty
    int line = 0;      // 0 for what was logged through logging.h
    LogLevel level = LogLevel::Debug;
    int64 timestamp = 0;   // nanoseconds since 1970-01-01 UTC
    uint64 threadId = 0;   // the system's id of the thread that logged
    std::string message;   // the first line of the text
    std::string function;  // always empty
};

namespace logging {

/// The name of the log files and the name with ".log" behind it: "kiv" and "kiv.log" until
/// `initLog` gets another one.
KIV_BASE_API extern std::string LOG_FILE_BASENAME;
KIV_BASE_API extern std::string LOG_FILE_BASENAME_EXT;

/// Makes console, daily files and a callback that does nothing the sinks of spdlog's default
/// logger, in place of those it had, and `LogLevel::Debug` the level of all of spdlog's loggers.
/// From here on a thread of spdlog flushes them every 3 seconds. Then removes old files, as
/// `cleanupOldFiles` does; where there is no directory yet, that says so on `std::cerr`.
///
/// `directory` is a UTF-8 path, and means what `paths::AbsolutePath` gives for it now, whatever
/// becomes the current directory later. If it is empty, `paths::GetKIVEDataDirectory()` stands for
/// it, and the current directory for a user without a home. With `useLogsSubdirectory` the files
/// lie in "logs" below it. An empty `baseName` leaves the name as it is. Of the files that
/// rotations open, and those of the last days without a gap up to today that are there already,
/// `keepDays` stay; 0 and what does not fit into 16 bits set that limit off.
KIV_BASE_API void initLog(int keepDays, const std::string& directory, const std::string& baseName,
                          bool useLogsSubdirectory);

/// Goes on with files in another directory, switched on or off as those before, in lines of the
/// default pattern; the old file is closed. The parameters are those of `initLog`, but an empty
/// `directory` is the current one.
KIV_BASE_API void SetLogDirectory(const std::string& directory, int keepDays,
                                  bool useLogsSubdirectory);

/// Removes from `directory`, or from the current one if that is empty, all files whose names begin
/// with `LOG_FILE_BASENAME` and end in a date more than `keepDays` days ago and ".log". Today's and
/// later ones stay, also with a negative `keepDays`, and so does the file that the log has open.
/// Errors go to `std::cerr`.
KIV_BASE_API void cleanupOldFiles(const std::string& directory, int keepDays);

/// Finds the date, "2026-02-04", in a name that ends in a date and ".log". False if it doesn't, and
/// then `date` is left alone.
KIV_BASE_API bool extractDate(const std::string& fileName, std::string& date);

/// Lets every message through to the sink, or none. Without the sink nothing happens.
KIV_BASE_API void enableLogToConsole(bool on);
KIV_BASE_API void enableLogToFile(bool on);
KIV_BASE_API void enableLogCallback(bool on);

/// Has `callback` called for each message, also if callbacks were off, and makes the three sinks
/// the only ones of spdlog's default logger; those that are not set up are left out. `callback`
/// runs on the thread that logs, one message at a time, under the lock of its sink: it calls
/// nothing that logs, nor that sets levels, backtraces or sinks, since that could wait for ever or,
/// as this function would, free `callback` while it runs. It lives until another one takes its
/// place or the process ends. A `std::exception` that it throws goes to the error handler of
/// spdlog; an empty one throws `std::bad_function_call`.
KIV_BASE_API void setLogCallback(std::function<void(const LogMessage&)> callback);

/// Hands all lines that wait in memory to the system; a failure goes to the error handler of
/// spdlog. Without the file sink nothing happens.
KIV_BASE_API void flushToFile();

}  // namespace logging
}  // namespace kiv

#endif  // KIV_BASE_LOG_SETUP_H_
