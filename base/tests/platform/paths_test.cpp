#include "kiv/base/paths.h"

#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/childProcess.h"
#include "support/executableFolder.h"
#include "support/files.h"

namespace kiv {
namespace {

using testing::NamesIn;
using testing::PassesInChild;
using testing::WriteFile;
using Names = std::vector<std::string>;

// Longer than the first guess at the room that a path takes.
const std::string kLongName(250, 'n');

TEST(PathsTest, WhatIsMissingOfAPathIsMade) {
    const ScopedTemporaryDirectory scratch;
    const std::string& root = scratch.path;

    EXPECT_TRUE(paths::CreateDirectoryRecursive(root + "//a/b/"));
    EXPECT_TRUE(paths::CreateDirectoryRecursive(root + "/a/b/c"));
    EXPECT_TRUE(paths::CreateDirectoryRecursive(root + "/a/b/c"));
    EXPECT_TRUE(paths::CreateDirectoryRecursive(root + "/a\\b\xFF"));
    EXPECT_EQ(NamesIn(root), (Names{"a", "a\\b\xFF"}));
    EXPECT_EQ(NamesIn(root + "/a/b"), Names{"c"});
    EXPECT_TRUE(paths::CreateDirectoryRecursive("/"));
    EXPECT_TRUE(PassesInChild([&] {
        EXPECT_EQ(::chdir(root.c_str()), 0);
        EXPECT_TRUE(paths::CreateDirectoryRecursive("relative/r"));
    }));
    EXPECT_EQ(NamesIn(root + "/relative"), Names{"r"});
}

TEST(PathsTest, APathThatCanNotBeMadeIsRefused) {
    const ScopedTemporaryDirectory scratch;
    const std::string& root = scratch.path;
    WriteFile(root + "/file", "");
    ASSERT_EQ(::symlink("nowhere", (root + "/link").c_str()), 0);

    EXPECT_FALSE(paths::CreateDirectoryRecursive(""));
    EXPECT_FALSE(paths::CreateDirectoryRecursive(root + std::string("/a\0/b", 5)));
    EXPECT_TRUE(paths::CreateDirectoryRecursive(root + "/file"));
    EXPECT_FALSE(paths::CreateDirectoryRecursive(root + "/file/x"));
    EXPECT_TRUE(paths::CreateDirectoryRecursive(root + "/link"));
    EXPECT_FALSE(paths::CreateDirectoryRecursive(root + "/link/x"));
    EXPECT_FALSE(paths::CreateDirectoryRecursive(root + "/" + std::string(256, 'n')));
    EXPECT_EQ(NamesIn(root), (Names{"file", "link"}));
}

TEST(PathsTest, APathIsSeenFromTheCurrentDirectory) {
    const ScopedTemporaryDirectory scratch;
    const std::string deep = scratch.path + "/" + kLongName + "/" + kLongName;
    ASSERT_TRUE(paths::CreateDirectoryRecursive(deep));
    EXPECT_TRUE(PassesInChild([&] {
        EXPECT_EQ(::chdir(deep.c_str()), 0);
        const std::string real = std::filesystem::canonical(scratch.path);
        EXPECT_EQ(paths::AbsolutePath(""), real + "/" + kLongName + "/" + kLongName);
        EXPECT_EQ(paths::AbsolutePath("../a"), real + "/" + kLongName + "/a");
        EXPECT_EQ(paths::AbsolutePath(std::string("a\0b", 3)), "");
        EXPECT_EQ(::rmdir(deep.c_str()), 0);
        EXPECT_EQ(paths::AbsolutePath("a"), "");
        EXPECT_EQ(paths::AbsolutePath("/a/."), "/a");
    }));
}

struct DataDirectoryCase {
    const char* name;
    const char* chosen;  // XDG_DATA_HOME, null to unset it
    const char* home;
    std::string expected;
};

void SetOrUnset(const char* name, const char* value) {
    if (value != nullptr)
        ::setenv(name, value, 1);
    else
        ::unsetenv(name);
}

TEST(PathsTest, DataLivesWhereTheUserWantsIt) {
    const std::string kive = "/Morvenda/KIVE";
    const passwd* const record = ::getpwuid(::getuid());  // not every user has one
    const std::string home = record != nullptr ? record->pw_dir : "";
    const std::string of_record =
        home.starts_with('/') ? paths::JoinPaths({home, ".local/share"}) + kive : std::string();
    const DataDirectoryCase cases[] = {
        {"chosen", "/x/data", "/home/me", "/x/data" + kive},
        {"with a separator at its end", "/x/data//", "/home/me", "/x/data" + kive},
        {"the root", nullptr, "/", "/.local/share" + kive},
        {"relative choices don't count", "data", "/home/me", "/home/me/.local/share" + kive},
        {"nor do empty ones", "", "/home/me", "/home/me/.local/share" + kive},
        {"home", nullptr, "/home/me", "/home/me/.local/share" + kive},
        {"relative home", nullptr, "me", of_record},
        {"no home", nullptr, nullptr, of_record},
    };
    for (const DataDirectoryCase& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_TRUE(PassesInChild([&] {
            SetOrUnset("XDG_DATA_HOME", c.chosen);
            SetOrUnset("HOME", c.home);
            EXPECT_EQ(paths::GetKIVEDataDirectory(), c.expected);
        }));
    }
    const ScopedTemporaryDirectory scratch;
    EXPECT_TRUE(PassesInChild([&] {
        SetOrUnset("XDG_DATA_HOME", (scratch.path + "/data").c_str());
        EXPECT_EQ(paths::GetKIVEDataDirectory(), scratch.path + "/data" + kive);
    }));
    EXPECT_EQ(NamesIn(scratch.path), Names{});  // it is told, and not made
    EXPECT_FALSE(paths::GetCachesDirectory().is_valid());
}

TEST(PathsTest, TheExecutableIsTheFileThatRuns) {
    const std::string file = std::filesystem::read_symlink("/proc/self/exe");
    EXPECT_EQ(paths::GetExecutablePath(), file);
    EXPECT_EQ(paths::GetExecutableDirectoryPath(), paths::GetDirectoryName(file));
    EXPECT_TRUE(PassesInChild([] {
        testing::RefuseCalls({{SYS_readlink, EACCES}});
        EXPECT_EQ(paths::GetExecutablePath(), std::nullopt);
        EXPECT_EQ(paths::GetExecutableDirectoryPath(), std::nullopt);
    }));
}

using ExecutablePathTest = testing::ExecutableFolderTest;

TEST_F(ExecutablePathTest, IsFoundAlsoWhereItsNameIsLong) {
    const std::string deep = folder_.path + "/" + kLongName;
    ASSERT_TRUE(paths::CreateDirectoryRecursive(deep));
    ASSERT_TRUE(CopyFileUtf8("/proc/self/exe", (deep + "/tests").c_str()));
    const std::string again =
        "'" + deep + "/tests' --gtest_filter=PathsTest.TheExecutable* --gtest_output= >/dev/null";
    EXPECT_EQ(std::system(again.c_str()), 0);
}

TEST(PathsTest, ThePlatformsRulesAreThoseOfPosix) {
    EXPECT_EQ(paths::JoinPaths({"/a", "b\\", "c"}), "/a/b\\/c");
    EXPECT_EQ(paths::GetDirectoryName("/a/b\\c"), "/a");
    EXPECT_EQ(paths::FromURI("file:///a%20b/c"), "/a b/c");
    EXPECT_EQ(paths::SanitizeURIEscapedCharacters("%41/%"), "");
    EXPECT_EQ(paths::Utf8PathToLocal("/\u00E9\xFF"), "/\u00E9\xFF");
}

}  // namespace
}  // namespace kiv
