#include <atomic>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kiv/base/file.h"
#include "support/childProcess.h"
#include "support/directoryChain.h"
#include "support/files.h"

namespace kiv {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::kFilesInEach;
using testing::LeaveDescriptors;
using testing::MakeChain;
using testing::NamesIn;
using testing::OpenDescriptors;
using testing::PassesInChild;
using testing::WriteFile;

TEST(RemovalTest, EmptiesADirectoryAndFollowsNoLink) {
    const ScopedTemporaryDirectory folder;
    const ScopedTemporaryDirectory outside;
    WriteFile(outside.path + "/survives", "");
    const std::size_t descriptors = OpenDescriptors();

    MakeChain(folder.fd, 40);
    for (int i = 0; i < 3000; ++i)  // more than one reading of the directory gives
        WriteFile(folder.path + "/d/" + std::to_string(i), "");
    for (const char* link : {"/link", "/d/link", "/d/d/link"})
        ASSERT_EQ(::symlink(outside.path.c_str(), (folder.path + link).c_str()), 0);
    for (const char* name : {"link", "link/", "link//", "d/link", "missing"})
        EXPECT_FALSE(RemoveDirectoryRecursively(folder.fd, name)) << name;
    EXPECT_THAT(NamesIn(folder.fd), ElementsAre("d", "link"));
    EXPECT_TRUE(RemoveDirectoryRecursively(folder.fd, "d/d/"));
    EXPECT_TRUE(RemoveFilesInDirectory(folder.fd));

    EXPECT_THAT(NamesIn(folder.fd), IsEmpty());
    EXPECT_THAT(NamesIn(outside.fd), ElementsAre("survives"));
    EXPECT_EQ(OpenDescriptors(), descriptors);
}

TEST(RemovalTest, NeedsFewDescriptorsAtAnyDepthAsAWalkDoes) {
    constexpr int kDepth = 300;
    const ScopedTemporaryDirectory folder;
    const std::string name(200, 'd');  // so that no path is long enough
    MakeChain(folder.fd, kDepth, name);
    EXPECT_TRUE(PassesInChild([&] {
        LeaveDescriptors(20);
        int count = 0;
        EXPECT_TRUE(VisitFilesRecursively(
            folder.fd, [&](const UniqueFD&, const std::string&) { return ++count > 0; }));
        EXPECT_EQ(count, kDepth * (kFilesInEach + 1));
        EXPECT_TRUE(RemoveDirectoryRecursively(folder.fd, name.c_str()));
    }));
    EXPECT_THAT(NamesIn(folder.fd), IsEmpty());
}

TEST(RemovalTest, DoesNotTakeWhatItCannotListForEmpty) {
    const ScopedTemporaryDirectory folder;
    const UniqueFD gone = OpenDirectory(folder.fd, "gone", true, FilePermission::Read);
    EXPECT_TRUE(UnlinkDirectory(folder.fd, "gone"));
    WriteFile(folder.path + "/file", "");
    EXPECT_TRUE(RemoveFilesInDirectory(gone));
    EXPECT_FALSE(RemoveFilesInDirectory(OpenFileReadOnly(folder.fd, "file")));
    EXPECT_TRUE(PassesInChild([&] {
        LeaveDescriptors(20);
        std::vector<UniqueFD> all;
        do
            all.push_back(Duplicate(folder.fd.get()));
        while (all.back().is_valid());
        EXPECT_FALSE(RemoveFilesInDirectory(folder.fd));
    }));
    EXPECT_THAT(NamesIn(folder.fd), ElementsAre("file"));
}

TEST(RemovalTest, EndsAtWhatItMayNotRemove) {
    const ScopedTemporaryDirectory folder;
    MakeChain(folder.fd, 2);
    for (const auto& [name, mode] : {std::pair("d", 0777), std::pair("d/d", 0555)})
        ASSERT_EQ(::fchmodat(folder.fd.get(), name, mode_t(mode), 0), 0);
    const auto locked = NamesIn(folder.path + "/d/d");
    EXPECT_TRUE(PassesInChild([&] {
        const UniqueFD directory = OpenDirectoryReadOnly(folder.fd, "d");
        ASSERT_TRUE(::geteuid() != 0 || ::seteuid(65534) == 0);
        EXPECT_FALSE(RemoveFilesInDirectory(directory));
        EXPECT_FALSE(RemoveDirectoryRecursively(directory, "d"));
    }));
    EXPECT_EQ(NamesIn(folder.path + "/d/d"), locked);
    ASSERT_EQ(::fchmodat(folder.fd.get(), "d/d", 0755, 0), 0);
}

TEST(RemovalTest, SharesATreeWithAnotherRemoval) {
    const ScopedTemporaryDirectory folder;
    for (int i = 0; i < 10; ++i) {
        MakeChain(folder.fd, 30);
        bool others = false;
        std::thread other([&] { others = RemoveFilesInDirectory(folder.fd); });
        EXPECT_TRUE(RemoveFilesInDirectory(folder.fd));
        other.join();
        EXPECT_TRUE(others);
        EXPECT_THAT(NamesIn(folder.fd), IsEmpty());
    }
}

TEST(RemovalTest, OutlastsSomebodyWhoAddsEntries) {
    const ScopedTemporaryDirectory folder;
    std::atomic<int> left = 1000;
    std::thread other([&] {
        for (; left > 0; --left)
            OpenFile(CreateDirectory(folder.fd, {"a", "b"}, FilePermission::Read),
                     std::to_string(left).c_str(), true, FilePermission::Write)
                .reset();
    });
    while (left > 0)
        RemoveFilesInDirectory(folder.fd);  // ends, whatever it could do
    other.join();
    EXPECT_TRUE(RemoveFilesInDirectory(folder.fd));
    EXPECT_THAT(NamesIn(folder.fd), IsEmpty());
}

TEST(RemovalTest, IsNotLedOutByALinkThatTakesThePlaceOfADirectory) {
    const ScopedTemporaryDirectory folder;
    const ScopedTemporaryDirectory outside;
    WriteFile(outside.path + "/survives", "");
    std::atomic<bool> done = false;
    std::thread other([&] {
        while (!done)
            ::renameat2(folder.fd.get(), "dir", folder.fd.get(), "link", RENAME_EXCHANGE);
    });
    for (int i = 0; i < 300; ++i) {
        OpenDirectory(folder.fd, "dir", true, FilePermission::Read).reset();
        EXPECT_EQ(::symlinkat(outside.path.c_str(), folder.fd.get(), "link"), 0);
        EXPECT_TRUE(RemoveFilesInDirectory(folder.fd));
    }
    done = true;
    other.join();
    EXPECT_THAT(NamesIn(outside.fd), ElementsAre("survives"));
}

}  // namespace
}  // namespace kiv
