#include "catalogue/catalogueLog.h"

#include <cstdio>

#include "kiv/base/logSetup.h"
#include "kiv/base/paths.h"

namespace catalogue {
namespace {

constexpr int kDaysKept = 7;

void Show(const kiv::LogMessage& message) {
    std::fprintf(stderr, "%s: %s\n", message.tag.c_str(), message.message.c_str());
}

}  // namespace

kiv::logging::Logger catalogueLog("catalogue");

bool StartLog(const std::string& directory, bool verbose) {
    namespace logging = kiv::logging;
    if (!kiv::paths::CreateDirectoryRecursive(kiv::paths::JoinPaths({directory, "logs"})))
        return false;
    logging::initLog(kDaysKept, directory, "catalogue", true);
    // Below that level the library tells of each object that passes an archive.
    logging::setLogLevel(kiv::LogLevel::Info);
    // The output is for the table, and what fails ends in one line there.
    logging::enableLogToConsole(false);
    if (verbose)
        logging::setLogCallback(Show);
    return true;
}

}  // namespace catalogue
