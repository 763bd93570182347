#include "kiv/base/paths.h"

#include <cstdlib>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <pwd.h>
#include <unistd.h>

#include "support/childProcess.h"
#include "support/files.h"

namespace kiv {
namespace {

using namespace ::testing;
using namespace testing;
using PathsTest = FolderTest;

// Longer than the first guess at the room that a path takes.
const std::string kLongName(250, 'n');

TEST_F(PathsTest, WhatIsMissingOfAPathIsMadeIfThatCanBe) {
    Put("file", "");
    Link("nowhere", "link");
    const std::string made[] = {"/a/b/", "/a/b/c", "/a/b/c", "/a\\b\xFF", "/file", "/link"};
    for (const std::string& path : made)
        EXPECT_TRUE(paths::CreateDirectoryRecursive(PathOf(path))) << path;
    const std::string refused[] = {std::string("a\0/b", 4), "file/x", "link/x",
                                   std::string(256, 'n')};
    for (const std::string& path : refused)
        EXPECT_FALSE(paths::CreateDirectoryRecursive(PathOf(path))) << path;
    EXPECT_FALSE(paths::CreateDirectoryRecursive(""));
    EXPECT_TRUE(paths::CreateDirectoryRecursive("/"));
    EXPECT_TRUE(PassesInChild([&] {
        EXPECT_EQ(::chdir(folder_.path.c_str()), 0);
        EXPECT_TRUE(paths::CreateDirectoryRecursive("relative/r"));
    }));
    EXPECT_THAT(Names(), ElementsAre("a", "a\\b\xFF", "file", "link", "relative"));
    EXPECT_THAT(NamesIn(PathOf("a/b")), ElementsAre("c"));
    EXPECT_THAT(NamesIn(PathOf("relative")), ElementsAre("r"));
}

TEST_F(PathsTest, APathIsSeenFromTheCurrentDirectory) {
    const std::string deep = PathOf(kLongName + "/" + kLongName);
    ASSERT_TRUE(paths::CreateDirectoryRecursive(deep));
    EXPECT_TRUE(PassesInChild([&] {
        EXPECT_EQ(::chdir(deep.c_str()), 0);
        const std::string real = std::filesystem::canonical(folder_.path);
        EXPECT_EQ(paths::AbsolutePath(""), real + "/" + kLongName + "/" + kLongName);
        EXPECT_EQ(paths::AbsolutePath("../a"), real + "/" + kLongName + "/a");
        EXPECT_EQ(paths::AbsolutePath(std::string("a\0b", 3)), "");
        EXPECT_EQ(::rmdir(deep.c_str()), 0);
        EXPECT_EQ(paths::AbsolutePath("a"), "");
        EXPECT_EQ(paths::AbsolutePath("/a/."), "/a");
    }));
}

void SetOrUnset(const char* name, const char* value) {
    value != nullptr ? ::setenv(name, value, 1) : ::unsetenv(name);
}

TEST_F(PathsTest, DataLivesWhereTheUserWantsIt) {
    const std::string kive = "/Morvenda/KIVE";
    const passwd* const record = ::getpwuid(::getuid());  // not every user has one
    const std::string home = record != nullptr ? record->pw_dir : "";
    const std::string of_record = home.starts_with('/') ? home + "/.local/share" + kive : "";
    const std::string chosen = PathOf("data");
    const struct {
        const char* name;
        const char* chosen;  // XDG_DATA_HOME, null to unset it
        const char* home;
        std::string expected;
    } cases[] = {
        {"chosen", chosen.c_str(), "/home/me", chosen + kive},
        {"with a separator at its end", "/x/data//", "/home/me", "/x/data" + kive},
        {"the root", nullptr, "/", "/.local/share" + kive},
        {"relative choices don't count", "data", "/home/me", "/home/me/.local/share" + kive},
        {"nor do empty ones", "", "/home/me", "/home/me/.local/share" + kive},
        {"relative home", nullptr, "me", of_record},
        {"no home", nullptr, nullptr, of_record},
    };
    for (const auto& c : cases)
        EXPECT_TRUE(PassesInChild([&] {
            SetOrUnset("XDG_DATA_HOME", c.chosen);
            SetOrUnset("HOME", c.home);
            EXPECT_EQ(paths::GetKIVEDataDirectory(), c.expected);
        })) << c.name;
    EXPECT_THAT(Names(), IsEmpty());  // it is told, and not made
    EXPECT_FALSE(paths::GetCachesDirectory().is_valid());
}

TEST_F(PathsTest, TheExecutableIsTheFileThatRuns) {
    const std::string file = std::filesystem::read_symlink("/proc/self/exe");
    EXPECT_EQ(paths::GetExecutablePath(), file);
    EXPECT_EQ(paths::GetExecutableDirectoryPath(), paths::GetDirectoryName(file));
    EXPECT_TRUE(PassesInChild([] {
        RefuseCalls({{SYS_readlink, EACCES}});
        EXPECT_EQ(paths::GetExecutablePath(), std::nullopt);
        EXPECT_EQ(paths::GetExecutableDirectoryPath(), std::nullopt);
    }));
}

TEST_F(PathsTest, ItIsFoundAlsoWhereItsNameIsLong) {
    if (!MayRunCodeIn(folder_.fd))
        GTEST_SKIP() << "no code may be run from files in " << folder_.path;
    const std::string deep = PathOf(kLongName);
    ASSERT_TRUE(paths::CreateDirectoryRecursive(deep));
    ASSERT_TRUE(CopyFileUtf8("/proc/self/exe", (deep + "/tests").c_str()));
    const std::string again =
        "'" + deep + "/tests' --gtest_filter=PathsTest.TheExecutable* --gtest_output= >/dev/null";
    EXPECT_EQ(std::system(again.c_str()), 0);
}

TEST(PlatformPathsTest, TheirRulesAreThoseOfPosix) {
    EXPECT_EQ(paths::JoinPaths({"/a", "b\\", "c"}), "/a/b\\/c");
    EXPECT_EQ(paths::GetDirectoryName("/a/b\\c"), "/a");
    EXPECT_EQ(paths::FromURI("file:///a%20b/c"), "/a b/c");
    EXPECT_EQ(paths::SanitizeURIEscapedCharacters("%41/%"), "");
    EXPECT_EQ(paths::Utf8PathToLocal("/\u00E9\xFF"), "/\u00E9\xFF");
}

}  // namespace
}  // namespace kiv
