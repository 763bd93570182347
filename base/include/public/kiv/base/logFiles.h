// The sinks of the log, and switching them one by one. Code that only logs takes logging.h.
//
//     logging::consoleSink = std::make_shared<logging::ConsoleSink>();
//     spdlog::default_logger()->sinks() = {logging::consoleSink};
//     logging::enableLogToConsole(false);
//
// Until a program sets sinks up, messages go to those that spdlog's default logger has by itself.
// The list of sinks and the globals here are changed while no other thread logs; switching is safe
// from any thread.
#ifndef KIV_BASE_LOG_FILES_H_
#define KIV_BASE_LOG_FILES_H_

#include <memory>

#include <spdlog/sinks/stdout_color_sinks.h>

#include "kiv/base/export.h"

namespace kiv::logging {

/// The sink that writes to standard output, in colours if that is a terminal.
using ConsoleSink = spdlog::sinks::stdout_color_sink_mt;

/// The sink that `enableLogToConsole` switches; null until it is set up.
KIV_BASE_API extern std::shared_ptr<ConsoleSink> consoleSink;

/// Lets every message through to `consoleSink`, or none. Without that sink nothing happens.
KIV_BASE_API void enableLogToConsole(bool on);

}  // namespace kiv::logging

#endif  // KIV_BASE_LOG_FILES_H_
