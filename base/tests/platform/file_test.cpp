#include "kiv/base/file.h"

#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/files.h"

namespace kiv {
namespace {

using ::testing::ElementsAre;
using testing::NamesIn;
using testing::ReadFile;
using testing::WriteFile;

TEST(FileTest, FilesAreMadeKeptAndCut) {
    const ScopedTemporaryDirectory folder;
    EXPECT_FALSE(OpenFile(folder.fd, "a", false, FilePermission::Read).is_valid());
    WriteFile(folder.path + "/a", "contents");

    const UniqueFD file = OpenFile(folder.fd, "a", true, FilePermission::ReadWrite);
    EXPECT_EQ(ReadFile(folder.path + "/a"), "contents");
    EXPECT_TRUE(TruncateFile(file, 3));
    EXPECT_EQ(ReadFile(folder.path + "/a"), "con");
    EXPECT_TRUE(TruncateFile(file, 5));
    EXPECT_EQ(ReadFile(folder.path + "/a"), std::string("con\0\0", 5));
    EXPECT_FALSE(TruncateFile(file, ~uint64{0}));
    EXPECT_FALSE(TruncateFile(OpenFileReadOnly(folder.fd, "a"), 1));
}

TEST(ScopedTemporaryDirectoryTest, GoesAwayWithAllThatIsInIt) {
    std::string path;
    {
        const ScopedTemporaryDirectory folder;
        path = folder.path;
        EXPECT_TRUE(IsDirectory(folder.fd));
        EXPECT_TRUE(CreateDirectory(folder.fd, {"a", "b", "c"}, FilePermission::Read).is_valid());
        WriteFile(path + "/a/b/c/d", "x");
        WriteFile(path + "/e", "x");
        EXPECT_THAT(NamesIn(folder.fd), ElementsAre("a", "e"));
    }
    EXPECT_FALSE(FileExists(UniqueFD(), path.c_str()));
}

}  // namespace
}  // namespace kiv
