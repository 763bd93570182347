// What goes through all that is below a directory: the walk and the removal.
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kiv/base/file.h"
#include "support/childProcess.h"
#include "support/files.h"

namespace kiv {
namespace {

using namespace ::testing;
using namespace testing;

const FileVisitor kGoOn = [](const UniqueFD&, const std::string&) { return true; };

constexpr int kFilesInEach = 4;

// A chain of directories, each in the one before, with files in all of them: soon too deep for a
// path and for a descriptor each. The files of level 1 are named from "1.0" to "1.3".
void MakeChain(const UniqueFD& top, int depth, const std::string& directory = "d") {
    UniqueFD last = Duplicate(top.get());
    for (int level = 1; level <= depth; ++level) {
        last = OpenDirectory(last, directory.c_str(), true, FilePermission::Read);
        for (int i = 0; i < kFilesInEach; ++i) {
            const std::string name = std::to_string(level) + '.' + std::to_string(i);
            ASSERT_TRUE(OpenFile(last, name.c_str(), true, FilePermission::Write).is_valid());
        }
    }
}

using VisitFilesTest = FolderTest;

TEST_F(VisitFilesTest, ReportsEachEntryAndThenAllBelowIt) {
    const ScopedTemporaryDirectory outside;
    WriteFile(outside.path + "/not here", "");
    for (const char* name : {"a", "b"})
        EXPECT_TRUE(
            CreateDirectory(folder_.fd, {name, ".c", "d"}, FilePermission::Read).is_valid());
    Put("a/\xFF", "");
    Link(outside.path, "link");

    std::vector<std::string> paths = {""};
    EXPECT_TRUE(VisitFilesRecursively(folder_.fd, [&](const UniqueFD& at, const std::string& name) {
        char path[4096] = "";
        EXPECT_GT(::readlink(("/proc/self/fd/" + std::to_string(at.get())).c_str(), path, 4095), 0);
        const std::string above = path + folder_.path.size();
        EXPECT_EQ((paths.back() + '/').find(above + '/'), 0u) << above << " after " << paths.back();
        paths.push_back(above + '/' + name);
        return true;
    }));
    EXPECT_THAT(paths, UnorderedElementsAre("", "/a", "/a/.c", "/a/.c/d", "/a/\xFF", "/b", "/b/.c",
                                            "/b/.c/d", "/link"));
    EXPECT_THAT(Names(), ElementsAre("a", "b", "link"));
}

TEST_F(VisitFilesTest, EndsWhereItsVisitorWantsToAndLeaksNothing) {
    const std::size_t descriptors = OpenDescriptors();
    const auto both = {&VisitFiles, &VisitFilesRecursively};
    for (const auto& visit : both)
        for (const UniqueFD& empty : {UniqueFD(), Duplicate(folder_.fd.get())})
            EXPECT_TRUE(visit(empty, FileVisitor()));
    MakeChain(folder_.fd, 20);
    for (const auto& visit : both) {
        EXPECT_FALSE(visit(folder_.fd, [](auto&, auto&) { return false; }));
        EXPECT_THROW(visit(folder_.fd, FileVisitor()), std::bad_function_call);
    }
    int left = 5 * kFilesInEach;
    const FileVisitor raise = [&](auto&, auto&) { return --left > 0 ? true : throw 7; };
    EXPECT_THROW(VisitFilesRecursively(folder_.fd, raise), int);
    EXPECT_EQ(OpenDescriptors(), descriptors);
}

TEST_F(VisitFilesTest, WalksOfOneHandleAreIndependent) {
    MakeChain(folder_.fd, 5);
    std::atomic<int> visited = 0;
    const auto walk = [&] {
        for (int i = 0; i < 50; ++i)
            VisitFilesRecursively(folder_.fd, [&](const UniqueFD& directory, const std::string&) {
                ++visited;
                // One inside the other, on the handle that the outer one is at.
                return VisitFiles(directory, kGoOn);
            });
    };
    std::thread other(walk);
    walk();
    other.join();
    EXPECT_EQ(visited, 2 * 50 * 5 * (kFilesInEach + 1));
}

TEST_F(VisitFilesTest, ListsWhatWasOpenedBeforeTheRightToEnterItWent) {
    MakeChain(folder_.fd, 1);
    for (const mode_t mode : {0444, 0700})
        EXPECT_TRUE(PassesInChild([&] {
            ASSERT_EQ(::fchmod(folder_.fd.get(), mode), 0);
            GiveUpRoot();
            for (int i = 0; i < 2; ++i)
                EXPECT_THAT(Names(), ElementsAre("d"));
        }));
}

TEST_F(VisitFilesTest, FindsItsWayBackThroughATreeThatChanges) {
    constexpr int kDepth = 30;
    // Directories that are moved away, deepest first, when the walk is in the last of them.
    const struct {
        const char* name;
        std::vector<int> moved;
        int first_lost = 0, last_lost = 0;  // whose remaining files no way leads to any more
    } cases[] = {
        {"the directory at hand", {30}},
        {"one that waits", {22}},
        {"one that stays open", {3}},
        {"two that wait, so that no name leads to those between", {29, 22}, 22, 28},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const UniqueFD top = OpenDirectory(folder_.fd, c.name, true, FilePermission::Read);
        MakeChain(top, kDepth);
        int found[kDepth + 1] = {};
        EXPECT_TRUE(VisitFilesRecursively(top, [&](const UniqueFD&, const std::string& name) {
            if (name == "d")
                return true;
            const int level = std::stoi(name);
            if (++found[level] == 1 && level == kDepth)
                for (const int moved : c.moved) {
                    std::string from = PathOf(c.name);
                    for (int i = 0; i < moved; ++i)
                        from += "/d";
                    const std::string to = PathOf(c.name) + std::to_string(moved);
                    EXPECT_TRUE(MoveFileOrDirectory(from.c_str(), to.c_str()));
                }
            return true;
        }));
        for (int level = 1; level <= kDepth; ++level)
            if (level < c.first_lost || level > c.last_lost) {
                EXPECT_EQ(found[level], kFilesInEach) << level;
            }
    }
}

using RemovalTest = FolderTest;

TEST_F(RemovalTest, EmptiesADirectoryAndFollowsNoLink) {
    const ScopedTemporaryDirectory outside;
    WriteFile(outside.path + "/survives", "");
    const std::size_t descriptors = OpenDescriptors();

    MakeChain(folder_.fd, 40);
    for (int i = 0; i < 3000; ++i)  // more than one reading of the directory gives
        Put("d/" + std::to_string(i), "");
    for (const char* name : {"link", "d/link", "d/d/link"})
        Link(outside.path, name);
    for (const char* name : {"link", "link/", "link//", "d/link", "missing"})
        EXPECT_FALSE(RemoveDirectoryRecursively(folder_.fd, name)) << name;
    EXPECT_THAT(Names(), ElementsAre("d", "link"));
    EXPECT_TRUE(RemoveDirectoryRecursively(folder_.fd, "d/d/"));
    EXPECT_TRUE(RemoveFilesInDirectory(folder_.fd));

    EXPECT_THAT(Names(), IsEmpty());
    EXPECT_THAT(NamesIn(outside.fd), ElementsAre("survives"));
    EXPECT_EQ(OpenDescriptors(), descriptors);
}

TEST_F(RemovalTest, NeedsFewDescriptorsAtAnyDepthAsAWalkDoes) {
    constexpr int kDepth = 300;
    const std::string name(200, 'd');  // so that no path is long enough
    MakeChain(folder_.fd, kDepth, name);
    EXPECT_TRUE(PassesInChild([&] {
        LeaveDescriptors(20);
        int count = 0;
        EXPECT_TRUE(VisitFilesRecursively(folder_.fd, [&](auto&, auto&) { return ++count > 0; }));
        EXPECT_EQ(count, kDepth * (kFilesInEach + 1));
        EXPECT_TRUE(RemoveDirectoryRecursively(folder_.fd, name.c_str()));
    }));
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(RemovalTest, DoesNotTakeWhatItCannotListForEmpty) {
    const UniqueFD gone = OpenDirectory(folder_.fd, "gone", true, FilePermission::Read);
    EXPECT_TRUE(UnlinkDirectory(folder_.fd, "gone"));
    Put("file", "");
    EXPECT_TRUE(RemoveFilesInDirectory(gone));
    EXPECT_FALSE(RemoveFilesInDirectory(OpenFileReadOnly(folder_.fd, "file")));
    EXPECT_TRUE(PassesInChild([&] {
        const auto taken = TakeDescriptors(20);
        EXPECT_FALSE(RemoveFilesInDirectory(folder_.fd));
    }));
    EXPECT_THAT(Names(), ElementsAre("file"));
}

TEST_F(RemovalTest, EndsAtWhatItMayNotRemove) {
    MakeChain(folder_.fd, 2);
    ASSERT_EQ(::fchmodat(folder_.fd.get(), "d", 0777, 0), 0);
    ASSERT_EQ(::fchmodat(folder_.fd.get(), "d/d", 0555, 0), 0);
    const auto locked = NamesIn(PathOf("d/d"));
    EXPECT_TRUE(PassesInChild([&] {
        const UniqueFD directory = OpenDirectoryReadOnly(folder_.fd, "d");
        GiveUpRoot();
        EXPECT_FALSE(RemoveFilesInDirectory(directory));
        EXPECT_FALSE(RemoveDirectoryRecursively(directory, "d"));
    }));
    EXPECT_EQ(NamesIn(PathOf("d/d")), locked);
    ASSERT_EQ(::fchmodat(folder_.fd.get(), "d/d", 0755, 0), 0);
}

TEST_F(RemovalTest, OutlastsOthersWhoRemoveAndAddEntries) {
    const auto remove = [&] { return RemoveFilesInDirectory(folder_.fd); };
    for (int i = 0; i < 10; ++i) {
        MakeChain(folder_.fd, 30);
        auto others = std::async(std::launch::async, remove);
        EXPECT_TRUE(remove());
        EXPECT_TRUE(others.get());
        EXPECT_THAT(Names(), IsEmpty());
    }
    const auto adds = std::async(std::launch::async, [&] {
        for (int i = 0; i < 1000; ++i)
            OpenFile(CreateDirectory(folder_.fd, {"a", "b"}, FilePermission::Read),
                     std::to_string(i).c_str(), true, FilePermission::Write)
                .reset();
    });
    while (adds.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
        remove();  // ends, whatever it could do
    EXPECT_TRUE(remove());
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(RemovalTest, IsNotLedOutByALinkThatTakesThePlaceOfADirectory) {
    const ScopedTemporaryDirectory outside;
    WriteFile(outside.path + "/survives", "");
    const std::jthread other([&](const std::stop_token& done) {
        while (!done.stop_requested())
            ::renameat2(folder_.fd.get(), "dir", folder_.fd.get(), "link", RENAME_EXCHANGE);
    });
    for (int i = 0; i < 1000; ++i) {
        OpenDirectory(folder_.fd, "dir", true, FilePermission::Read).reset();
        Link(outside.path, "link");
        EXPECT_TRUE(RemoveFilesInDirectory(folder_.fd));
    }
    EXPECT_THAT(NamesIn(outside.fd), ElementsAre("survives"));
}

}  // namespace
}  // namespace kiv
