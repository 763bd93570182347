// The sinks of the log as objects, for who wants to give them patterns or put them into loggers of
// its own. It takes spdlog; logSetup.h, which this includes, sets the log up without.
//
//     logging::initLog(14, "", "", true);
//     logging::consoleSink->set_pattern("%H:%M:%S %v");
//
// The pointers change in `initLog`, `SetLogDirectory` and `setLogCallback`, while no other thread
// logs. A sink may be used from any thread.
#ifndef KIV_BASE_LOG_FILES_H_
#define KIV_BASE_LOG_FILES_H_

#include <memory>
#include <mutex>

#include <spdlog/sinks/daily_file_sink.h>
#include <spdlog/sinks/stdout_color_sinks.h>

#include "kiv/base/callbackSink.h"
#include "kiv/base/dailyFileSink.h"
#include "kiv/base/export.h"
#include "kiv/base/logSetup.h"

namespace kiv::logging {

/// The sink that writes to standard output, in colours if that is a terminal.
using ConsoleSink = spdlog::sinks::stdout_color_sink_mt;
using FileSink = noCreatingDailyFileSink<std::mutex, spdlog::sinks::daily_filename_calculator>;
using CallbackSink = spdlog::sinks::callback_sink<std::mutex>;

/// The sinks that `enableLogToConsole` and its siblings switch; null until `initLog`, `fileSink` or
/// until `SetLogDirectory`, `callbackSink` or until `setLogCallback`.
KIV_BASE_API extern std::shared_ptr<ConsoleSink> consoleSink;
KIV_BASE_API extern std::shared_ptr<FileSink> fileSink;
KIV_BASE_API extern std::shared_ptr<CallbackSink> callbackSink;

}  // namespace kiv::logging

#endif  // KIV_BASE_LOG_FILES_H_
