#include "kiv/base/file.h"

#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kiv {
namespace {

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

std::vector<std::string> NamesIn(const UniqueFD& directory) {
    std::vector<std::string> names;
    EXPECT_TRUE(VisitFiles(directory, [&](const UniqueFD&, const std::string& name) {
        names.push_back(name);
        return true;
    }));
    return names;
}

void WriteFile(const UniqueFD& base, const char* path, const std::string& contents) {
    const UniqueFD file = OpenFile(base, path, true, FilePermission::Write);
    ASSERT_TRUE(file.is_valid()) << path;
    ASSERT_TRUE(TruncateFile(file, 0));
    ASSERT_EQ(::write(file.get(), contents.data(), contents.size()),
              static_cast<ssize_t>(contents.size()));
}

std::string ReadFile(const UniqueFD& base, const char* path) {
    const UniqueFD file = OpenFileReadOnly(base, path);
    EXPECT_TRUE(file.is_valid()) << path;
    char buffer[4096];
    const ssize_t size = ::read(file.get(), buffer, sizeof(buffer));
    return std::string(buffer, size < 0 ? 0 : static_cast<std::size_t>(size));
}

TEST(FileTest, FilesAreMadeKeptAndCut) {
    const ScopedTemporaryDirectory folder;
    EXPECT_FALSE(OpenFile(folder.fd, "a", false, FilePermission::Read).is_valid());
    WriteFile(folder.fd, "a", "contents");

    const UniqueFD file = OpenFile(folder.fd, "a", true, FilePermission::ReadWrite);
    EXPECT_EQ(ReadFile(folder.fd, "a"), "contents");
    EXPECT_TRUE(TruncateFile(file, 3));
    EXPECT_EQ(ReadFile(folder.fd, "a"), "con");
    EXPECT_TRUE(TruncateFile(file, 5));
    EXPECT_EQ(ReadFile(folder.fd, "a"), std::string("con\0\0", 5));
    EXPECT_FALSE(TruncateFile(file, ~uint64{0}));
    EXPECT_FALSE(TruncateFile(OpenFileReadOnly(folder.fd, "a"), 1));
}

TEST(ScopedTemporaryDirectoryTest, GoesAwayWithAllThatIsInIt) {
    std::string path;
    {
        const ScopedTemporaryDirectory folder;
        path = folder.path;
        EXPECT_TRUE(IsDirectory(folder.fd));
        WriteFile(CreateDirectory(folder.fd, {"a", "b", "c"}, FilePermission::Read), "d", "x");
        WriteFile(folder.fd, "e", "x");
        EXPECT_THAT(NamesIn(folder.fd), UnorderedElementsAre("a", "e"));
    }
    EXPECT_FALSE(FileExists(UniqueFD(), path.c_str()));
}

}  // namespace
}  // namespace kiv
