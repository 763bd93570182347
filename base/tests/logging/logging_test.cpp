#include "kiv/base/logging.h"

#include <barrier>
#include <cerrno>
#include <cwchar>
#include <memory>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "kiv/base/check.h"
#include "kiv/base/status.h"
#include "support/logCatcher.h"

namespace kiv {
namespace {

using namespace ::testing;
using namespace testing;

[[gnu::format(printf, 3, 4)]] void printThroughAList(LogLevel level, const char* tag,
                                                     const char* format, ...) {
    va_list args;
    va_start(args, format);
    logging::printLog("engine", level, tag, format, args);
    va_end(args);
}

TEST(PrintLogTest, PayloadIsDomainTagAndTextWithoutSeparators) {
    LogCatcher log;

    logging::printLog("engine", LogLevel::Info, "Loader", "%s: %d of %d", "mesh", 3, 7);
    logging::printLog("engine", LogLevel::Debug, "", "no tag");
    logging::printLog("engine", LogLevel::Error, "x", "%s", "");
    logging::printLog("engine", LogLevel::Warn, "Loader", "%s", "{} %d {0} 100% ]");
    printThroughAList(LogLevel::Fatal, "Loader", "%d%%", 50);
    logging::printLog("engine", LogLevel::Info, "", "a literal %d is no list", 0);
    // What is rejected is logged as it stands, and a level outside the list as the nearest.
    logging::printLog("engine", LogLevel::Info, "", "wide %lc", static_cast<wint_t>(0x7FFFFFFF));
    logging::printLog("engine", static_cast<LogLevel>(-7), "", "below");
    logging::printLog("engine", static_cast<LogLevel>(99), "", "above");

    EXPECT_THAT(log.Take(),
                ElementsAre(LogLine{LogLevel::Info, "[domain:engine][tag:Loader]mesh: 3 of 7"},
                            LogLine{LogLevel::Debug, "[domain:engine]no tag"},
                            LogLine{LogLevel::Error, "[domain:engine][tag:x]"},
                            LogLine{LogLevel::Warn, "[domain:engine][tag:Loader]{} %d {0} 100% ]"},
                            LogLine{LogLevel::Fatal, "[domain:engine][tag:Loader]50%"},
                            LogLine{LogLevel::Info, "[domain:engine]a literal 0 is no list"},
                            LogLine{LogLevel::Info, "[domain:engine]wide %lc"},
                            LogLine{LogLevel::Debug, "[domain:engine]below"},
                            LogLine{LogLevel::Fatal, "[domain:engine]above"}));
}

TEST(PrintLogTest, TextOfAnyLengthArrivesWhole) {
    const std::string prefix = "[domain:engine][tag:T]";
    // Around the room that a message has before a block is allocated for it, and far beyond.
    for (std::size_t length : {0, 226, 227, 228, 229, 230, 3000000}) {
        LogCatcher log;
        const std::string text(length, 'a');

        logging::printLog("engine", LogLevel::Info, "T", "%s", text.c_str());

        EXPECT_THAT(log.Take(), ElementsAre(LogLine{LogLevel::Info, prefix + text})) << length;
    }
}

TEST(LogLevelTest, EveryLevelHasItsCounterpart) {
    const std::pair<LogLevel, spdlog::level::level_enum> cases[] = {
        {LogLevel::Debug, spdlog::level::debug},    {LogLevel::Info, spdlog::level::info},
        {LogLevel::Warn, spdlog::level::warn},      {LogLevel::Error, spdlog::level::err},
        {LogLevel::Fatal, spdlog::level::critical},
    };
    const auto before = spdlog::get_level();
    for (const auto& [level, counterpart] : cases) {
        Status status = Status::Failure;
        EXPECT_EQ(logging::toLogLevel(counterpart, &status), level);
        EXPECT_EQ(status, Status::Success);

        logging::setLogLevel(level);
        EXPECT_EQ(spdlog::get_level(), counterpart);
        EXPECT_EQ(logging::logLevel(nullptr), level);
    }
    for (auto stranger : {spdlog::level::trace, spdlog::level::off}) {
        Status status;
        EXPECT_EQ(logging::toLogLevel(stranger, &status), LogLevel::Debug);
        EXPECT_EQ(status, Status::Failure);

        spdlog::set_level(stranger);
        status = Status::Success;
        EXPECT_EQ(logging::logLevel(&status), LogLevel::Debug);
        EXPECT_EQ(status, Status::Failure);
    }
    spdlog::set_level(before);
}

TEST(LogLevelTest, AfterTheShutdownOfSpdlogNothingIsLoggedAndThereIsNoLevel) {
    LogCatcher log;
    const std::shared_ptr<spdlog::logger> logger = spdlog::default_logger();
    spdlog::shutdown();

    logging::printLog("engine", LogLevel::Fatal, "T", "dropped");
    Status status;
    EXPECT_EQ(logging::logLevel(&status), LogLevel::Debug);
    EXPECT_EQ(status, Status::Failure);

    spdlog::set_default_logger(logger);
    EXPECT_THAT(log.Take(), IsEmpty());
}

// "%n" stores into its argument, so it shows whether a message has been formatted. (A literal
// format in read-only memory keeps the hardened C library content with it.)
TEST(LoggerTest, WhatAFilterStopsIsNotFormatted) {
    using namespace spdlog::level;
    const struct {
        const char* name;
        LogLevel threshold;
        spdlog::level::level_enum loggerLevel, sinkLevel;
        bool taken;
    } cases[] = {{"all open", LogLevel::Debug, trace, trace, true},
                 {"at every level", LogLevel::Warn, warn, warn, true},
                 {"threshold", LogLevel::Error, trace, trace, false},
                 {"default logger", LogLevel::Debug, err, trace, false},
                 {"sink", LogLevel::Debug, trace, off, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        LogCatcher log;
        logging::Logger logger("engine");
        logger.setLogLevel(c.threshold);
        spdlog::default_logger()->set_level(c.loggerLevel);
        spdlog::default_logger()->sinks().front()->set_level(c.sinkLevel);
        int formatted = 0;

        logger.log(LogLevel::Warn, "T", "a%n", &formatted);

        EXPECT_EQ(formatted > 0, c.taken);
        EXPECT_EQ(log.Take().size(), c.taken ? 1u : 0u);
    }
}

TEST(LoggerTest, BacktraceKeepsWhatTheLevelsStop) {
    LogCatcher log;
    spdlog::default_logger()->set_level(spdlog::level::err);
    logging::setBacktrace(8);

    baseLogger2.log(LogLevel::Debug, "T", "kept");
    EXPECT_THAT(log.Take(), IsEmpty());
    spdlog::default_logger()->set_level(spdlog::level::trace);
    spdlog::dump_backtrace();
    spdlog::disable_backtrace();

    EXPECT_THAT(log.Take(), Contains(LogLine{LogLevel::Debug, "[domain:kiv.base][tag:T]kept"}));
}

TEST(Logger2Test, EachOperationHasItsLevelAndKeepsTheThreshold) {
    Logger2 logger("engine");
    EXPECT_EQ(logger.GetLogLevel(), LogLevel::Debug);
    EXPECT_EQ(logger.GetVlogLevel(), -1);
    for (int32 threshold = 0; threshold <= 4; ++threshold) {
        LogCatcher log;
        logger.SetLogLevel(static_cast<LogLevel>(threshold));

        logger.Debug("%d", 0);
        logger.Info("%d", 1);
        logger.Warn("%d", 2);
        logger.Error("%d", 3);
        logger.Fatal("%d", 4);
        logger.Out(LogLevel::Warn, "out");

        std::vector<LogLine> expected;
        for (int32 level = threshold; level <= 4; ++level)
            expected.push_back(
                {static_cast<LogLevel>(level), "[domain:engine]" + std::to_string(level)});
        if (threshold <= 2)
            expected.push_back({LogLevel::Warn, "[domain:engine]out"});
        EXPECT_EQ(log.Take(), expected);
        EXPECT_TRUE(logger.ShouldCreateLogMessage(LogLevel::Debug));
    }
}

TEST(CheckTest, AFailedCheckReportsWhereAndWhyAndGoesOn) {
    LogCatcher log;
    int evaluated = 0;

    KIV_CHECK(++evaluated == 1);
    errno = 1;
    const int first = __LINE__ + 1;
    KIV_CHECK(evaluated % 2 == 0);
    KIV_CHECK_EXPLAINED(evaluated < 1, "the \"%s\" explanation");
    KIV_CHECK(errno == 0);
    KIV_CHECK_EXPLAINED(errno == 0, "macro");

    EXPECT_EQ(evaluated, 1);
    // A condition is told as it is written, with no macro in it expanded.
    std::vector<LogLine> expected;
    for (const char* const failure : {"evaluated % 2 == 0", "evaluated < 1: the \"%s\" explanation",
                                      "errno == 0", "errno == 0: macro"}) {
        const auto line = std::to_string(first + expected.size());
        expected.push_back({LogLevel::Fatal, std::string("[domain:kiv.base]") + __FILE__ + ":" +
                                                 line + ": Check failed: " + failure});
    }
    EXPECT_EQ(log.Take(), expected);
}

class ThrowingSink : public spdlog::sinks::base_sink<std::mutex> {
    void sink_it_(const spdlog::details::log_msg&) override { throw 1; }
    void flush_() override {}
};

TEST(LogMessage2Test, ItsEndLogsTheStreamWhateverASinkThrows) {
    LogCatcher log;
    Logger2 logger("engine");
    spdlog::default_logger()->sinks().push_back(std::make_shared<ThrowingSink>());

    {
        LogMessage2 message(logger, LogLevel::Warn, "a.cpp", 12, "unused");
        message.stream() << "n = " << 5;
        EXPECT_THAT(log.Take(), IsEmpty());
    }

    EXPECT_THAT(log.Take(), ElementsAre(LogLine{LogLevel::Warn, "[domain:engine]a.cpp:12: n = 5"}));
    EXPECT_THROW(logger.Warn("passes"), int);
}

TEST(LoggerTest, ThreadsLogWholeMessagesWhileThresholdsChange) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 200;
    LogCatcher log;
    logging::Logger logger("engine");
    std::barrier start(kThreads);
    {
        std::vector<std::jthread> threads;
        for (int id = 0; id < kThreads; ++id)
            threads.emplace_back([&, id] {
                start.arrive_and_wait();
                for (int round = 0; round < kRounds; ++round) {
                    logger.log(LogLevel::Error, "T", "%d", id);
                    logger.setLogLevel(round % 2 ? LogLevel::Debug : LogLevel::Error);
                }
            });
    }

    int seen[kThreads] = {};
    for (const LogLine& line : log.Take()) {
        ASSERT_EQ(line.payload.size(), sizeof "[domain:engine][tag:T]0" - 1) << line.payload;
        ++seen[line.payload.back() - '0'];
    }
    EXPECT_THAT(seen, Each(kRounds));
}

}  // namespace
}  // namespace kiv
