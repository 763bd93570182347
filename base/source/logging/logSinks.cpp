#include "kiv/base/logFiles.h"

namespace kiv::logging {

constinit std::shared_ptr<ConsoleSink> consoleSink;

void enableLogToConsole(bool on) {
    if (consoleSink)
        consoleSink->set_level(on ? spdlog::level::trace : spdlog::level::off);
}

}  // namespace kiv::logging
