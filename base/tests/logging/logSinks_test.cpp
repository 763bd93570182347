#include <gtest/gtest.h>

#include "kiv/base/logFiles.h"
#include "kiv/base/logging.h"
#include "support/logCatcher.h"

namespace kiv::logging {
namespace {

TEST(LogSinksTest, TheConsoleIsSwitchedAloneAndWritesTheDefaultPattern) {
    testing::LogCatcher log;
    enableLogToConsole(true);  // without a sink there is nothing to switch
    consoleSink = std::make_shared<ConsoleSink>();
    spdlog::default_logger()->sinks().push_back(consoleSink);

    ::testing::internal::CaptureStdout();
    for (const bool on : {false, true}) {
        enableLogToConsole(on);
        baseLogger2.log(LogLevel::Warn, "Sink", on ? "shown" : "hidden");
    }
    consoleSink->flush();
    const std::string written = ::testing::internal::GetCapturedStdout();
    consoleSink.reset();

    EXPECT_EQ(log.Take().size(), 2u);
    const std::string line = "] [warning] [domain:kiv.base][tag:Sink]shown\n";
    ASSERT_GT(written.size(), line.size());
    EXPECT_EQ(written.substr(written.size() - line.size()), line);
    EXPECT_EQ(written.find("hidden"), std::string::npos);
}

}  // namespace
}  // namespace kiv::logging
