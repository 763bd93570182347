#include "platform/pathRules.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace kiv::platform {
namespace {

constexpr PathStyle kPosix = PathStyle::Posix;
constexpr PathStyle kWindows = PathStyle::Windows;

TEST(PathRulesTest, ADirectoryReachesUpToTheLastSeparatorOrTheRoot) {
    const struct {
        PathStyle style;
        std::string path;
        std::size_t root;
        std::string directory;
    } cases[] = {
        {kWindows, "", 0, ""},
        {kWindows, "/", 1, "/"},
        {kWindows, "\\x", 1, "\\"},
        {kWindows, "\\a/b", 1, "\\a"},
        {kWindows, "//a/b", 1, "//a"},
        {kWindows, "\\\\", 2, "\\\\"},
        {kWindows, "\\\\server", 8, "\\\\server"},
        {kWindows, "\\\\server/x", 10, "\\\\server/x"},
        {kWindows, "\\\\server\\share", std::string::npos, ""},
        {kWindows, "\\\\server\\share\\x\\y", 14, "\\\\server\\share\\x"},
        {kWindows, "\\\\\\\\", 3, "\\\\\\"},
        {kWindows, "C:", 0, ""},
        {kWindows, "C:x", 0, ""},
        {kWindows, "C:\\", 3, "C:\\"},
        {kWindows, "z:/x", 3, "z:/"},
        {kWindows, "C:\\a/b", 3, "C:\\a"},
        {kWindows, "1:\\x", 0, "1:"},
        {kWindows, "@:\\x", 0, "@:"},
        {kWindows, "[:\\x", 0, "[:"},
        {kWindows, "a\\b\\", 0, "a\\b"},
        {kPosix, "/", 1, "/"},
        {kPosix, "/a/b/", 1, "/a/b"},
        {kPosix, "a//b", 0, "a/"},
        {kPosix, "C:\\a/b\\c", 0, "C:\\a"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(RootLength(c.path, c.style), c.root) << c.path;
        EXPECT_EQ(GetDirectoryName(c.path, c.style), c.directory) << c.path;
    }
}

TEST(PathRulesTest, JoiningPutsOneSeparatorBetweenComponents) {
    for (const auto& [style, mark] : {std::pair(kWindows, "\\"), std::pair(kPosix, "/")}) {
        const std::string s = mark;
        EXPECT_EQ(JoinPaths({}, style), "");
        EXPECT_EQ(JoinPaths({"a" + s}, style), "a" + s);
        EXPECT_EQ(JoinPaths({"", ""}, style), s);
        EXPECT_EQ(JoinPaths({"a", "", "b"}, style), "a" + s + s + "b");
        EXPECT_EQ(JoinPaths({"a" + s, "b", "c"}, style), "a" + s + s + "b" + s + "c");
    }
}

struct TextCase {
    std::string text, result;
};

TEST(PathRulesTest, AnEscapeIsOneByte) {
    const TextCase cases[] = {
        {"", ""},
        {"%41", "A"},
        {"a%20b%2Fc", "a b/c"},
        {"%fF%Fe", "\xFF\xFE"},
        {"%4", ""},
        {"a%00b", ""},
        {"%4g", ""},
        {"%g4", ""},
        {"%+1", ""},
        {std::string("a\0b%41", 6), std::string("a\0bA", 4)},
    };
    for (const TextCase& c : cases)
        EXPECT_EQ(SanitizeURIEscapedCharacters(c.text), c.result) << c.text;
}

TEST(PathRulesTest, AFileUriNamesAPath) {
    const struct {
        std::string uri, posix, windows;
    } cases[] = {
        {"file:///C:/a%20b", "/C:/a b", "C:\\a b"},
        {"file:///a\\b%2Fc", "/a\\b/c", "a\\b/c"},
        {"file:///", "/", ""},
        {"file:///a%", "", ""},
        {"file://a%20b", "file://a%20b", "file://a%20b"},
        {"File:///a%20b", "File:///a%20b", "File:///a%20b"},
        {"a/b%", "a/b%", "a/b%"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(FromURI(c.uri, kPosix), c.posix) << c.uri;
        EXPECT_EQ(FromURI(c.uri, kWindows), c.windows) << c.uri;
    }
}

TEST(PathRulesTest, AnAbsolutePathIsFolded) {
    const TextCase cases[] = {
        {"", "/home/me"},
        {"a//b/./c/", "/home/me/a/b/c"},
        {"..", "/home"},
        {"../../..", "/"},
        {"/", "/"},
        {"/a/../../b", "/b"},
        {"/a/..b/.c", "/a/..b/.c"},
        {"a\\..", "/home/me/a\\.."},
    };
    for (const TextCase& c : cases)
        EXPECT_EQ(AbsolutePosixPath("/home/me", c.text), c.result) << c.text;
    EXPECT_EQ(AbsolutePosixPath("/", "a"), "/a");

    std::string deep;
    for (int i = 0; i < 100000; ++i)
        deep += "a/";
    EXPECT_EQ(AbsolutePosixPath("/", deep + "."), "/" + deep.substr(0, deep.size() - 1));
}

TEST(PathRulesTest, LevelsAreMadeFromTheOutside) {
    const struct {
        PathStyle style;
        std::string path;
        std::vector<std::string> levels;
    } cases[] = {
        {kWindows, "C:\\a\\b", {"C:\\a", "C:\\a\\b"}},
        {kWindows, "C:a\\b", {"C:a\\b"}},
        {kWindows, "C:\\", {}},
        {kWindows, "\\\\a\\\\b\\", {"a", "a\\b"}},
        {kWindows, "a/b", {"a/b"}},
        {kWindows, "\\", {}},
        {kPosix, "//a//b/", {"/a", "/a/b"}},
        {kPosix, "a/../b", {"a", "a/..", "a/../b"}},
        {kPosix, "a\\b", {"a\\b"}},
        {kPosix, "C:/a", {"C:", "C:/a"}},
        {kPosix, "/", {}},
    };
    for (const auto& c : cases) {
        std::vector<std::string> levels;
        EXPECT_TRUE(VisitDirectoryLevels(c.path, c.style, [&](const std::string& level) {
            levels.push_back(level);
            return true;
        }));
        EXPECT_EQ(levels, c.levels) << c.path;
    }
    int calls = 0;
    EXPECT_FALSE(
        VisitDirectoryLevels("a/b/c", kPosix, [&](const std::string&) { return ++calls < 2; }));
    EXPECT_EQ(calls, 2);
}

}  // namespace
}  // namespace kiv::platform
