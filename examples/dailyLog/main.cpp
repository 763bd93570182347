// A loader that keeps a log: a file a day, two weeks of them, and a callback that shows trouble.
#include <fstream>
#include <iostream>
#include <string>

#include "kiv/base/file.h"
#include "kiv/base/logSetup.h"
#include "kiv/base/logging.h"

using kiv::LogLevel;
namespace logging = kiv::logging;

static logging::Logger loader("engine.loader");

static void Load(const char* mesh, int vertices) {
    loader.log(LogLevel::Info, "Load", "%s has %d vertices", mesh, vertices);
    if (vertices > 0xFFFF)
        loader.log(LogLevel::Warn, "Load", "%s needs 32-bit indices", mesh);
}

int main() {
    const kiv::ScopedTemporaryDirectory folder;
    // What is left of a run long ago.
    std::ofstream(folder.path + "/engine_2020-01-31.log") << "an old line\n";

    logging::initLog(14, folder.path, "engine", false);  // the old file goes
    logging::enableLogToConsole(false);
    logging::setLogCallback([](const kiv::LogMessage& message) {
        if (message.level >= LogLevel::Warn)
            std::cout << message.domain << ", " << message.tag << ": " << message.message << "\n";
    });

    Load("gable", 1234);
    loader.setLogLevel(LogLevel::Warn);
    Load("terrain", 90000);  // engine.loader, Load: terrain needs 32-bit indices

    // Today's file has both levels, each line behind its time.
    logging::flushToFile();
    kiv::VisitFiles(folder.fd, [&folder](const kiv::UniqueFD&, const std::string& name) {
        std::cout << std::ifstream(folder.path + "/" + name).rdbuf();
        return true;
    });
}
