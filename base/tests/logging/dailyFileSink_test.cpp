#include "kiv/base/dailyFileSink.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include "kiv/base/file.h"
#include "kiv/base/logFiles.h"
#include "support/files.h"
#include "support/logTime.h"

namespace kiv {
namespace {

using std::chrono::milliseconds;
using namespace ::testing;
using namespace testing;
namespace fs = std::filesystem;

using Files = std::map<std::string, std::string>;  // contents by name

auto Tells(const std::string& reason) {
    return ::testing::Optional(HasSubstr(reason));
}

// A sink for "app.log" in a directory of its own, whose lines are the bare messages.
class DailyFileSinkTest : public Test {
protected:
    void Build(unsigned short maxFiles = 0, bool truncate = false) {
        sink_ = std::make_shared<logging::FileSink>((folder_ / "app.log").string(), 0, 0, truncate,
                                                    maxFiles, handlers_);
        sink_->set_pattern("%v");
    }
    // What the sink throws, if it does. `ahead` is how much the message's time is ahead of the
    // clock.
    std::optional<std::string> Log(const std::string& text, std::chrono::seconds ahead = {}) {
        try {
            sink_->log(spdlog::details::log_msg(clock_.Now() + ahead, spdlog::source_loc(), "",
                                                spdlog::level::info, text));
        } catch (const std::exception& error) {
            return error.what();
        }
        return std::nullopt;
    }
    std::optional<std::string> LogAt(const std::string& time, const std::string& text) {
        clock_.Set(time);
        return Log(text);
    }
    Files Read() {
        sink_->flush();
        Files files;
        for (const std::string& name : NamesIn(folder_))
            if (fs::is_regular_file(folder_ / name))
                files[name] = ReadFile(folder_ / name);
        return files;
    }
    // Of which days in February there are files: "04 05".
    std::string Days() {
        std::string days;
        for (const auto& [name, contents] : Read())
            days += (days.empty() ? "" : " ") + name.substr(sizeof "app_2026-02-" - 1, 2);
        return days;
    }
    fs::path FileOf(const std::string& day) { return folder_ / ("app_" + day + ".log"); }

    FakeLogClock clock_{"2026-02-04 12:00:00"};
    ScopedTemporaryDirectory temporary_;
    fs::path folder_ = temporary_.path;
    spdlog::file_event_handlers handlers_;
    std::shared_ptr<logging::FileSink> sink_;
};

TEST_F(DailyFileSinkTest, NothingIsMadeBeforeTheFirstMessage) {
    folder_ /= "a/b";
    Build(3);
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> other(std::tmpfile(), &std::fclose);
    std::fputs("waits", other.get());
    sink_->flush();
    EXPECT_EQ(fs::file_size("/dev/fd/" + std::to_string(::fileno(other.get()))), 0u);
    EXPECT_EQ(sink_->filename(), "");
    EXPECT_TRUE(fs::is_empty(temporary_.path));

    EXPECT_EQ(Log("first"), std::nullopt);

    EXPECT_THAT(Read(), ElementsAre(Pair("app_2026-02-04.log", "first\n")));
    EXPECT_EQ(sink_->filename(), FileOf("2026-02-04"));
}

TEST_F(DailyFileSinkTest, ARotationTimeOutsideOfTheDayIsRefused) {
    for (const auto& [hour, minute] : {std::pair(-1, 0), {24, 0}, {0, -1}, {0, 60}}) {
        try {
            logging::FileSink("app.log", hour, minute, false, 0, {});
            ADD_FAILURE() << hour << ":" << minute;
        } catch (const spdlog::spdlog_ex& error) {
            EXPECT_STREQ(error.what(), "daily_file_sink: Invalid rotation time in ctor");
        }
    }
}

TEST_F(DailyFileSinkTest, MessagesOnEitherSideOfMidnightLandInTwoFiles) {
    const struct {
        const char *name, *zone, *before, *after;
    } cases[] = {
        {"ordinary", "UTC", "2026-02-04 12:00:00", "2026-02-05 00:00:00"},
        {"silent days", "UTC", "2026-02-04 12:00:00", "2026-02-09 17:00:00"},
        {"23 hours", "Europe/Berlin", "2026-03-29 12:00:00", "2026-03-30 00:00:00"},
        // On that day a rotation 24 hours behind midnight would come at 23:00.
        {"25 hours", "Europe/Berlin", "2026-10-25 12:00:00", "2026-10-26 00:00:00"},
        {"before the change", "Europe/Berlin", "2026-03-29 00:00:00", "2026-03-30 00:30:00"},
        {"no midnight", "America/Havana", "2026-03-07 12:00:00", "2026-03-08 01:00:00"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        folder_ = temporary_.path + "/" + c.name;
        FakeLogClock clock(c.before, c.zone);
        int opened = 0;
        handlers_.after_open = [&opened](const std::string&, std::FILE*) { ++opened; };
        Build();

        Log("before");
        LogAt(std::string(c.before, sizeof "2026-02-04 " - 1) + "23:59:59", "late");
        LogAt(c.after, "after");
        Log("again");

        const std::string first = std::string("app_").append(c.before, 10) + ".log";
        const std::string second = std::string("app_").append(c.after, 10) + ".log";
        EXPECT_THAT(Read(),
                    ElementsAre(Pair(first, "before\nlate\n"), Pair(second, "after\nagain\n")));
        EXPECT_EQ(opened, 2);
    }
}

TEST_F(DailyFileSinkTest, WhereMidnightComesTwiceNotEachMessageIsARotation) {
    // A minute after midnight it is 23:01 of the day before.
    FakeLogClock clock("2010-11-06 23:30:00", "America/St_Johns");
    clock.Advance(std::chrono::hours(1));
    int opened = 0;
    handlers_.after_open = [&opened](const std::string&, std::FILE*) { ++opened; };
    Build();

    for (int message = 0; message < 3; ++message)
        EXPECT_EQ(Log("text"), std::nullopt);

    EXPECT_THAT(Read(), ElementsAre(Pair("app_2010-11-06.log", "text\ntext\ntext\n")));
    EXPECT_EQ(opened, 1);
}

TEST_F(DailyFileSinkTest, TheOldestOfTheKnownFilesGo) {
    const struct {
        const char* name;
        unsigned short maxFiles;
        const char* existing;  // days in February
        const char* written;   // the days of messages; the sink is built on the first
        const char* left;
    } cases[] = {
        {"the first file is not known", 2, "", "04 05 06 07", "04 06 07"},
        {"no limit", 0, "02", "04 05 06", "02 04 05 06"},
        {"without a file of today none is known", 1, "02 03", "04 05 06", "02 03 04 06"},
        {"known up to a gap", 3, "01 03 04", "04 05 06 07", "01 05 06 07"},
        {"known up to the limit", 2, "02 03 04", "04 05", "02 04 05"},
        {"there and back", 2, "", "04 09 05 09 05 10", "04 09 10"},
        {"the clock is set back", 1, "04", "04 09 05 10", "10"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        folder_ = fs::path(temporary_.path) / c.name;
        fs::create_directory(folder_);
        std::istringstream existing(c.existing);
        std::istringstream written(c.written);
        for (std::string day; existing >> day;)
            std::ofstream(FileOf("2026-02-" + day)) << "before";
        clock_.Set("2026-02-04 12:00:00");
        Build(c.maxFiles);

        for (std::string day; written >> day;) {
            EXPECT_EQ(LogAt("2026-02-" + day + " 12:00:00", "text"), std::nullopt);
            EXPECT_TRUE(fs::exists(sink_->filename()));
        }

        EXPECT_EQ(Days(), c.left);
    }
}

TEST_F(DailyFileSinkTest, TheMessageIsWrittenBeforeTheOldestFileGoes) {
    Build(1);
    Log("first");
    LogAt("2026-02-05 12:00:00", "second");
    fs::remove(FileOf("2026-02-05"));
    fs::create_directories(FileOf("2026-02-05") / "full");

    EXPECT_THAT(LogAt("2026-02-06 12:00:00", "third"),
                Tells("Failed removing daily file " + FileOf("2026-02-05").string()));
    EXPECT_EQ(Read()["app_2026-02-06.log"], "third\n");

    // It counts as removed, and a file that is gone is no failure.
    EXPECT_EQ(LogAt("2026-02-07 12:00:00", "fourth"), std::nullopt);
    fs::remove(FileOf("2026-02-07"));
    EXPECT_EQ(LogAt("2026-02-08 12:00:00", "fifth"), std::nullopt);
    EXPECT_EQ(Days(), "04 08");
}

TEST_F(DailyFileSinkTest, NeitherTruncationNorRetentionMeetsTheOpenFile) {
    std::ofstream(FileOf("2026-02-04")) << "before";
    clock_.Set("2026-02-04 23:59:59");
    Build(2, true);
    EXPECT_EQ(Log("first"), std::nullopt);

    // The clock goes back behind a message of the next day, so midnight comes twice. Counted twice,
    // that day's file would push out the first.
    EXPECT_EQ(Log("second", std::chrono::seconds(1)), std::nullopt);
    EXPECT_EQ(LogAt("2026-02-05 00:00:00", "third"), std::nullopt);

    EXPECT_THAT(Read(), ElementsAre(Pair("app_2026-02-04.log", "first\n"),
                                    Pair("app_2026-02-05.log", "second\nthird\n")));
}

TEST_F(DailyFileSinkTest, AFileThatCanNotBeOpenedIsReportedOnceAndTriedAtGrowingDistances) {
    folder_ /= "logs";
    std::ofstream(folder_) << "in the way";
    Build();
    const std::string reason = "Failed opening file " + FileOf("2026-02-04").string();

    EXPECT_THAT(Log("lost"), Tells(reason));
    EXPECT_EQ(Log("lost"), std::nullopt);
    EXPECT_EQ(sink_->filename(), "");

    // Each attempt doubles the pause; a message within a pause makes none.
    milliseconds pause(125);
    for (int attempt = 0; attempt < 9; ++attempt) {
        clock_.Advance(pause - milliseconds(1));
        fs::remove(folder_);
        EXPECT_EQ(Log("within the pause"), std::nullopt);
        EXPECT_FALSE(fs::exists(folder_));
        std::ofstream(folder_) << "in the way";
        clock_.Advance(milliseconds(1));
        EXPECT_EQ(Log("lost"), std::nullopt);
        pause = std::min(2 * pause, milliseconds(4000));
    }
    fs::remove(folder_);
    EXPECT_EQ(LogAt("2026-02-03 12:00:00", "the clock was set back"), std::nullopt);

    EXPECT_THAT(Read(), ElementsAre(Pair("app_2026-02-03.log", "the clock was set back\n")));
}

TEST_F(DailyFileSinkTest, HandlersGetAFileForNoChildAndMayRefuseIt) {
    int flags = 0;
    handlers_.after_open = [&flags](const std::string&, std::FILE* file) {
        flags = ::fcntl(::fileno(file), F_GETFD);
    };
    int calls = 0;
    handlers_.before_open = [&calls](const std::string&) {
        if (++calls < 3)
            throw std::runtime_error("not now");
    };
    Build();

    EXPECT_EQ(Log("lost"), "not now");
    EXPECT_EQ(Log("lost"), std::nullopt);
    EXPECT_EQ(Log("within the pause"), std::nullopt);
    EXPECT_EQ(calls, 2);
    clock_.Advance(milliseconds(125));
    EXPECT_EQ(Log("text"), std::nullopt);

    EXPECT_THAT(Read(), ElementsAre(Pair("app_2026-02-04.log", "text\n")));
    EXPECT_EQ(flags, FD_CLOEXEC);
}

TEST_F(DailyFileSinkTest, ARotationThatFailsGoesOnInTheFileBefore) {
    Build(1);
    Log("first");
    fs::create_directory(FileOf("2026-02-05"));

    EXPECT_THAT(LogAt("2026-02-05 00:00:00", "second"), Tells("Failed opening file"));
    EXPECT_EQ(Log("third"), std::nullopt);
    fs::remove(FileOf("2026-02-05"));
    clock_.Advance(milliseconds(125));
    EXPECT_EQ(Log("fourth"), std::nullopt);

    EXPECT_THAT(Read(), ElementsAre(Pair("app_2026-02-04.log", "first\nsecond\nthird\n"),
                                    Pair("app_2026-02-05.log", "fourth\n")));

    // The streak is over: the next one is reported again.
    fs::create_directory(FileOf("2026-02-06"));
    EXPECT_NE(LogAt("2026-02-06 00:00:00", "fifth"), std::nullopt);
}

TEST_F(DailyFileSinkTest, AFullDiskLosesLinesAndNothingElse) {
    fs::create_symlink("/dev/full", FileOf("2026-02-04"));
    Build();

    EXPECT_EQ(Log("fits into memory"), std::nullopt);
    EXPECT_THROW(sink_->flush(), spdlog::spdlog_ex);
    EXPECT_THAT(Log(std::string(1 << 20, 'a')), Tells("Failed writing"));

    EXPECT_EQ(LogAt("2026-02-05 00:00:00", "there is room again"), std::nullopt);
    EXPECT_THAT(Read(), ElementsAre(Pair("app_2026-02-05.log", "there is room again\n")));
}

TEST_F(DailyFileSinkTest, NeitherAPipeNorANulInTheNameIsWaitedForOrFollowed) {
    ASSERT_EQ(::mkfifo(FileOf("2026-02-04").c_str(), 0600), 0);
    Build();
    EXPECT_NE(Log("nobody reads"), std::nullopt);

    folder_ = (folder_ / "cut").string() + std::string(1, '\0') + "off";
    Build();
    EXPECT_NE(Log("lost"), std::nullopt);
    EXPECT_FALSE(fs::exists(temporary_.path + "/cut"));
}

}  // namespace
}  // namespace kiv
