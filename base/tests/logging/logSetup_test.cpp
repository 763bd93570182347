#include "kiv/base/logSetup.h"

#include <barrier>
#include <climits>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <spdlog/details/os.h>

#include "kiv/base/file.h"
#include "kiv/base/logFiles.h"
#include "kiv/base/logging.h"
#include "support/files.h"
#include "support/logCatcher.h"
#include "support/logTime.h"

namespace kiv::logging {
namespace {

using namespace ::testing;
using namespace testing;
namespace fs = std::filesystem;

// Puts the sinks and names back, and catches what goes to std::cerr and to spdlog's error handler.
// The clock is a fake for the sinks alone: what is logged through the logger has its real time, and
// goes to a file of that.
class LogSetupTest : public Test {
protected:
    LogSetupTest() {
        cerr_ = std::cerr.rdbuf(errors_.rdbuf());
        spdlog::default_logger()->set_error_handler(
            [this](const std::string& text) { failures_.push_back(text); });
    }
    ~LogSetupTest() override {
        consoleSink = nullptr;
        fileSink = nullptr;
        callbackSink = nullptr;
        LOG_FILE_BASENAME = "kiv";
        LOG_FILE_BASENAME_EXT = "kiv.log";
        spdlog::default_logger()->set_error_handler(nullptr);
        spdlog::flush_every(std::chrono::seconds(0));
        std::cerr.rdbuf(cerr_);
    }
    void Init(int keepDays, const std::string& baseName = "", bool useLogsSubdirectory = false) {
        initLog(keepDays, folder_, baseName, useLogsSubdirectory);
        enableLogToConsole(false);
    }

    LogCatcher log_;  // puts back the sinks and the level of the default logger
    FakeLogClock clock_{"2026-02-04 12:00:00"};
    ScopedTemporaryDirectory temporary_;
    std::string folder_ = temporary_.path;
    std::ostringstream errors_;
    std::streambuf* cerr_;
    std::vector<std::string> failures_;
};

TEST_F(LogSetupTest, InitLogWritesToConsoleFileAndCallbackInThisOrder) {
    ::testing::internal::CaptureStdout();
    initLog(3, folder_, "app", true);
    EXPECT_THAT(spdlog::default_logger()->sinks(),
                ElementsAre(consoleSink, fileSink, callbackSink));
    EXPECT_EQ(logLevel(nullptr), LogLevel::Debug);
    EXPECT_EQ(errors_.str(), "Error: Could not open directory " + folder_ + "/logs\n");
    EXPECT_TRUE(fs::is_empty(folder_));

    baseLogger2.log(LogLevel::Warn, "Archive", "text %s %d%%", "{}", 5);
    flushToFile();
    consoleSink->flush();

    EXPECT_THAT(::testing::internal::GetCapturedStdout(),
                HasSubstr("[warning] [domain:kiv.base][tag:Archive]text {} 5%\n"));
    EXPECT_THAT(ReadFile(fileSink->filename()),
                MatchesRegex(R"(\[[-0-9]+ [:0-9]+\.[0-9]+\] .*text \{\} 5%.)"));
    EXPECT_THAT(fileSink->filename(), HasSubstr(folder_ + "/logs/app_"));
    EXPECT_THAT(failures_, IsEmpty());
}

TEST_F(LogSetupTest, WhatIsLeftEmptyIsTheDataDirectoryAndTheNameBefore) {
    Init(0, "app");
    const std::string before = std::getenv("XDG_DATA_HOME") ? std::getenv("XDG_DATA_HOME") : "";
    ::setenv("XDG_DATA_HOME", folder_.c_str(), 1);
    initLog(0, "", "", true);
    before.empty() ? ::unsetenv("XDG_DATA_HOME") : ::setenv("XDG_DATA_HOME", before.c_str(), 1);
    enableLogToConsole(false);

    baseLogger2.log(LogLevel::Info, "", "text");

    EXPECT_THAT(fileSink->filename(), HasSubstr(folder_ + "/Morvenda/KIVE/logs/app_"));
}

TEST_F(LogSetupTest, ANewDirectoryTakesThePlaceOfTheOldOne) {
    auto& sinks = spdlog::default_logger()->sinks();
    const spdlog::sink_ptr other = sinks.front();

    SetLogDirectory(folder_, 0, false);
    EXPECT_THAT(sinks, ElementsAre(other, fileSink));

    Init(0);
    enableLogToFile(false);
    SetLogDirectory(folder_, 0, true);
    EXPECT_THAT(sinks, ElementsAre(consoleSink, fileSink, callbackSink));
    baseLogger2.log(LogLevel::Info, "", "the new sink is off, too");
    EXPECT_TRUE(fs::is_empty(folder_));

    sinks = {other};
    enableLogToFile(true);
    SetLogDirectory(folder_, 0, true);
    EXPECT_THAT(sinks, ElementsAre(other, fileSink));
    baseLogger2.log(LogLevel::Info, "", "text");
    EXPECT_THAT(NamesIn(folder_), ElementsAre("logs"));
}

TEST_F(LogSetupTest, SinksAreSwitchedOneByOneAndOnlyIfTheyAreThere) {
    const auto switchAll = [](bool console, bool file, bool callback) {
        enableLogToConsole(console);
        enableLogToFile(file);
        enableLogCallback(callback);
        baseLogger2.log(LogLevel::Debug, "", "text");
        flushToFile();
    };
    switchAll(false, false, false);
    EXPECT_EQ(log_.Take().size(), 1u);

    Init(0);
    int called = 0;
    setLogCallback([&called](const LogMessage&) { ++called; });
    switchAll(false, true, false);
    EXPECT_EQ(called, 0);
    const auto size = fs::file_size(fileSink->filename());
    EXPECT_GT(size, 0u);

    switchAll(false, false, true);
    EXPECT_EQ(called, 1);
    enableLogCallback(false);
    setLogCallback([&called](const LogMessage&) { called += 10; });  // on again
    baseLogger2.log(LogLevel::Debug, "", "text");
    flushToFile();
    EXPECT_EQ(called, 11);
    EXPECT_EQ(fs::file_size(fileSink->filename()), size);
}

TEST_F(LogSetupTest, TheCallbackGetsMessagesTakenApart) {
    using Fields = std::vector<std::string>;
    const struct {
        const char *domain, *tag, *text;
        Fields fields;  // domain, tag, message
    } cases[] = {
        {"engine", "Loader", "3 of 7", {"engine", "Loader", "3 of 7"}},
        {"engine", "", "no tag", {"engine", "", "no tag"}},
        {"engine", "T", "a] [tag:b] {}", {"engine", "T", "a] [tag:b] {}"}},
        {"engine", "T", "first\nsecond", {"engine", "T", "first"}},
        {"engine", "T", "\rsecond", {"engine", "", "[tag:T]"}},
        {"", "T", "[domain:a][domain:b]c", {"a", "", "[domain:b]c"}},
        {"engine", "", "[tag:]text", {"engine", "", "[tag:]text"}},
        {"engine", "", "[tag:a", {"engine", "", "[tag:a"}},
        {"engine", "", "", {"", "", ""}},
        {"engine", "x", "", {"engine", "", "[tag:x]"}},
        {"engine", "", "[tag:x]text", {"engine", "x", "text"}},
        {"a]b", "T", "text", {"a", "", "b][tag:T]text"}},
        {"engine", "a]b", "text", {"engine", "a", "b]text"}},
    };
    std::vector<LogMessage> got;
    setLogCallback([&got](const LogMessage& message) { got.push_back(message); });
    EXPECT_THAT(spdlog::default_logger()->sinks(), ElementsAre(callbackSink));
    const auto fieldsOf = [](const LogMessage& m) { return Fields{m.domain, m.tag, m.message}; };
    for (const auto& [domain, tag, text, fields] : cases) {
        printLog(domain, LogLevel::Info, tag, "%s", text);
        EXPECT_EQ(fieldsOf(got.back()), fields);
    }

    const auto now = [] { return std::chrono::system_clock::now().time_since_epoch().count(); };
    const auto before = now();
    spdlog::default_logger()->log({"a.cpp", 7, "f"}, spdlog::level::err, "no brackets");
    const LogMessage& last = got.back();
    EXPECT_EQ(fieldsOf(last), (Fields{"", "", ""}));
    EXPECT_EQ(last.level, LogLevel::Error);
    EXPECT_EQ(last.line, 7);
    EXPECT_EQ(last.file + last.function, "");
    EXPECT_EQ(last.threadId, spdlog::details::os::thread_id());
    EXPECT_THAT(last.timestamp, AllOf(Ge(before), Le(now())));
    EXPECT_EQ(got.size(), std::size(cases) + 1);
}

TEST_F(LogSetupTest, ADirectoryIsTheOneThatItWasWhenItWasGiven) {
    const fs::path before = fs::current_path();
    fs::current_path(folder_);
    const std::string folder = fs::current_path();
    fs::create_directories("a/b");
    fs::create_directory_symlink("a/b", "link");  // so that "link/.." is "a" to the system
    fs::create_directory("logs");
    for (const auto& [given, meant] : {std::pair("", ""), {"link/../logs", "/logs"}}) {
        const std::string old = folder + meant + "/kiv_2026-02-01.log";
        std::ofstream(old) << "old";
        SetLogDirectory(given, 0, false);
        fs::current_path("a");
        baseLogger2.log(LogLevel::Info, "", "text");
        fs::current_path(folder);

        EXPECT_FALSE(fs::exists(old));
        EXPECT_EQ(fs::path(fileSink->filename()).parent_path(), folder + meant);
    }
    fs::current_path(before);
}

TEST_F(LogSetupTest, WhatASinkThrowsDoesNotReachWhoLogsOrFlushes) {
    setLogCallback({});
    baseLogger2.log(LogLevel::Info, "", "text");
    setLogCallback([](const LogMessage&) { throw std::runtime_error("full"); });
    baseLogger2.log(LogLevel::Info, "", "text");

    fs::create_symlink("/dev/full", folder_ + "/kiv_2026-02-04.log");
    SetLogDirectory(folder_, 0, false);
    fileSink->log({clock_.Now(), {}, "", spdlog::level::info, "text"});
    flushToFile();

    EXPECT_THAT(failures_,
                ElementsAre("bad_function_call", "full", HasSubstr("Failed flush to file")));
}

TEST_F(LogSetupTest, SinksAreReplacedWhileAllLoggersAreFlushed) {
    Init(0);
    std::barrier start(2);
    std::thread flushing([&start] {
        start.arrive_and_wait();
        for (int round = 0; round < 200; ++round) {
            // As its own thread does, but spelled out: the thread sanitizer doesn't see into
            // spdlog.
            spdlog::apply_all([](const std::shared_ptr<spdlog::logger>& logger) {
                for (const spdlog::sink_ptr& sink : logger->sinks())
                    sink->flush();
            });
        }
    });

    start.arrive_and_wait();
    for (int round = 0; round < 50; ++round) {
        setLogCallback([](const LogMessage&) {});
        SetLogDirectory(folder_, 0, false);
    }
    flushing.join();

    EXPECT_THAT(spdlog::default_logger()->sinks(),
                ElementsAre(consoleSink, fileSink, callbackSink));
}

TEST_F(LogSetupTest, FilesGoByTheirDate) {
    const std::vector<std::string> names = {
        // The older ones first, then what stays in any case.
        "kiv_0999-01-01.log",     "kiv_2026-02-01.log", "kiv_2026-02-02.log", "kivx2026-02-02.log",
        "kiv_2026-02-04.log",     "kiv_2026-03-28.log", "kiv_2026-03-29.log", "kiv_2026-03-30.log",
        "kiv_2026-02-01.log.bak", "kiv_2026-02.log",    "kiv_2026-02-0x.log", "kiv.log",
        "app_2026-02-01.log",
    };
    const struct {
        const char *name, *now, *zone;
        int keepDays;
        int gone;
    } cases[] = {
        {"none but today's", "2026-02-04 00:00:00", "UTC", 0, 4},
        {"the day itself stays", "2026-02-04 23:59:59", "UTC", 3, 1},
        {"negative", "2026-02-04 12:00:00", "UTC", INT_MIN, 4},
        {"huge", "2026-02-04 12:00:00", "UTC", INT_MAX, 0},
        {"before the year 1000", "2026-02-04 12:00:00", "UTC", 375200, 0},
        {"local date", "2026-02-04 23:30:00", "America/Havana", 2, 2},
        {"24 hours are no calendar day", "2026-03-30 00:30:00", "Europe/Berlin", 1, 5},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        for (const std::string& name : names)
            WriteFile(folder_ + "/" + name, "");
        FakeLogClock clock(c.now, c.zone);

        cleanupOldFiles(folder_, c.keepDays);

        EXPECT_THAT(NamesIn(folder_),
                    UnorderedElementsAreArray(names.begin() + c.gone, names.end()));
    }
    EXPECT_EQ(errors_.str(), "");
}

TEST_F(LogSetupTest, WhatCanNotBeRemovedIsToldAndPassedOver) {
    const fs::path folder = folder_;
    fs::create_directory(folder / "kiv_2026-02-01.log");
    std::ofstream(folder / "kiv_2026-02-02.log");

    const fs::path before = fs::current_path();
    fs::current_path(folder);
    cleanupOldFiles("", 0);
    SetLogDirectory("", 0, true);
    fs::current_path(before);
    cleanupOldFiles(folder_ + "/missing", 0);
    const std::string nul = folder_ + std::string(1, '\0');
    cleanupOldFiles(nul, 0);
    SetLogDirectory(nul, 0, false);
    baseLogger2.log(LogLevel::Info, "", "lost");

    EXPECT_THAT(NamesIn(folder_), ElementsAre("kiv_2026-02-01.log"));
    EXPECT_EQ(errors_.str(), "Error: Could not delete file: " + folder_ + "/kiv_2026-02-01.log\n" +
                                 "Error: Could not open directory " + folder_ + "/logs\n" +
                                 "Error: Could not open directory " + folder_ + "/missing\n" +
                                 "Error: Could not open directory \n" +
                                 "Error: Could not open directory \n");
    EXPECT_THAT(failures_, ElementsAre(HasSubstr("Failed opening file")));
}

TEST_F(LogSetupTest, TheOpenFileStaysWhateverTheClockSays) {
    Init(0);
    baseLogger2.log(LogLevel::Info, "", "text");
    clock_.Set("2100-01-01 12:00:00");

    cleanupOldFiles(folder_, 3);
    EXPECT_TRUE(fs::exists(fileSink->filename()));

    fileSink = nullptr;
    cleanupOldFiles(folder_, 3);
    EXPECT_TRUE(fs::is_empty(folder_));
}

TEST_F(LogSetupTest, KeepDaysIsTheNumberOfFilesWhereItFits) {
    const std::pair<int, bool> cases[] = {{2, true},      {0, false},       {-65534, false},
                                          {65538, false}, {INT_MAX, false}, {INT_MIN, false}};
    for (const auto& [keepDays, counts] : cases) {
        SCOPED_TRACE(keepDays);
        SetLogDirectory(folder_ + "/" + std::to_string(keepDays), keepDays, false);
        for (int day = 4; day < 8; ++day) {
            clock_.Set("2026-02-0" + std::to_string(day) + " 12:00:00");
            fileSink->log(spdlog::details::log_msg(clock_.Now(), {}, "", spdlog::level::info, "a"));
        }
        EXPECT_EQ(NamesIn(folder_ + "/" + std::to_string(keepDays)).size(), counts ? 3u : 4u);
        clock_.Set("2026-02-04 12:00:00");
    }
}

TEST(LogDateTest, ItStandsAtTheEndBeforeTheExtension) {
    const std::pair<std::string, bool> cases[] = {{"kiv_12026-02-04.log", true},
                                                  {"2026-02-04.log", true},
                                                  {"026-02-04.log", false},
                                                  {"2026-02-04.log\n", false},
                                                  {"2026-02-04.log.log", false},
                                                  {"2026-02-04xlog", false},
                                                  {"2026-02-04.lob", false},
                                                  {"2026/02-04.log", false},
                                                  {"2026-02:04.log", false},
                                                  {"202/-02-04.log", false},
                                                  {"2026-0:-04.log", false},
                                                  {"2026-02-\xB2"
                                                   "4.log",
                                                   false},
                                                  {"", false}};
    for (const auto& [name, found] : cases) {
        std::string date = "before";
        EXPECT_EQ(extractDate(name, date), found) << name;
        EXPECT_EQ(date, found ? "2026-02-04" : "before") << name;
    }
}

}  // namespace
}  // namespace kiv::logging
