#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

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
using testing::kFilesInEach;
using testing::MakeChain;
using testing::NamesIn;
using testing::OpenDescriptors;
using testing::PassesInChild;
using ::testing::UnorderedElementsAre;
using testing::WriteFile;

const FileVisitor kStop = [](const UniqueFD&, const std::string&) { return false; };
const FileVisitor kGoOn = [](const UniqueFD&, const std::string&) { return true; };
const FileVisitor kRaise = [](const UniqueFD&, const std::string&) -> bool { throw 7; };

std::string PathOf(const UniqueFD& directory) {
    char path[4096];
    const std::string link = "/proc/self/fd/" + std::to_string(directory.get());
    const ssize_t size = ::readlink(link.c_str(), path, sizeof(path));
    return std::string(path, size < 0 ? 0 : static_cast<std::size_t>(size));
}

TEST(VisitFilesTest, ReportsEachEntryAndThenAllBelowIt) {
    const ScopedTemporaryDirectory folder;
    const ScopedTemporaryDirectory outside;
    WriteFile(outside.path + "/not here", "");
    for (const char* name : {"a", "b"})
        ASSERT_TRUE(CreateDirectory(folder.fd, {name, ".c", "d"}, FilePermission::Read).is_valid());
    WriteFile(folder.path + "/a/\xFF", "");
    ASSERT_EQ(::symlink(outside.path.c_str(), (folder.path + "/link").c_str()), 0);

    std::vector<std::string> paths = {""};
    EXPECT_TRUE(VisitFilesRecursively(folder.fd, [&](const UniqueFD& at, const std::string& name) {
        const std::string above = PathOf(at).substr(folder.path.size());
        EXPECT_EQ((paths.back() + '/').find(above + '/'), 0u) << above << " after " << paths.back();
        paths.push_back(above + '/' + name);
        return true;
    }));
    EXPECT_THAT(paths, UnorderedElementsAre("", "/a", "/a/.c", "/a/.c/d", "/a/\xFF", "/b", "/b/.c",
                                            "/b/.c/d", "/link"));
    EXPECT_THAT(NamesIn(folder.fd), UnorderedElementsAre("a", "b", "link"));
}

TEST(VisitFilesTest, EndsWhereItsVisitorWantsToAndLeaksNothing) {
    const ScopedTemporaryDirectory folder;
    const std::size_t descriptors = OpenDescriptors();
    const auto both = {&VisitFiles, &VisitFilesRecursively};
    for (const auto& visit : both) {
        EXPECT_TRUE(visit(UniqueFD(), FileVisitor()));
        EXPECT_TRUE(visit(folder.fd, FileVisitor()));
    }
    MakeChain(folder.fd, 20);
    for (const auto& visit : both) {
        EXPECT_FALSE(visit(folder.fd, kStop));
        EXPECT_THROW(visit(folder.fd, FileVisitor()), std::bad_function_call);
    }
    int left = 5 * kFilesInEach;
    EXPECT_THROW(VisitFilesRecursively(folder.fd,
                                       [&](const UniqueFD& at, const std::string& name) {
                                           return --left > 0 ? true : kRaise(at, name);
                                       }),
                 int);
    EXPECT_EQ(OpenDescriptors(), descriptors);
}

TEST(VisitFilesTest, WalksOfOneHandleAreIndependent) {
    const ScopedTemporaryDirectory folder;
    MakeChain(folder.fd, 5);
    std::atomic<int> visited = 0;
    const auto walk = [&] {
        VisitFilesRecursively(folder.fd, [&](const UniqueFD& directory, const std::string&) {
            ++visited;
            // One inside the other, on the handle that the outer one is at.
            return VisitFiles(directory, kGoOn);
        });
    };
    std::thread other([&] {
        for (int i = 0; i < 50; ++i)
            walk();
    });
    for (int i = 0; i < 50; ++i)
        walk();
    other.join();
    EXPECT_EQ(visited, 2 * 50 * 5 * (kFilesInEach + 1));
}

TEST(VisitFilesTest, ListsWhatWasOpenedBeforeTheRightToEnterItWent) {
    const ScopedTemporaryDirectory folder;
    MakeChain(folder.fd, 1);
    for (const mode_t mode : {0444, 0700})
        EXPECT_TRUE(PassesInChild([&] {
            ASSERT_EQ(::fchmod(folder.fd.get(), mode), 0);
            ASSERT_TRUE(::geteuid() != 0 || ::seteuid(65534) == 0);
            for (int i = 0; i < 2; ++i)
                EXPECT_THAT(NamesIn(folder.fd), ElementsAre("d"));
        }));
}

// Directories of a chain that are moved away when the walk is in the last of them.
struct MoveCase {
    const char* name;
    std::vector<int> moved;             // deepest first
    int first_lost = 0, last_lost = 0;  // whose remaining files no way leads to any more
};

TEST(VisitFilesTest, FindsItsWayBackThroughATreeThatChanges) {
    constexpr int kDepth = 30;
    const MoveCase cases[] = {
        {"the directory at hand", {30}},
        {"one that waits", {22}},
        {"one that stays open", {3}},
        {"two that wait, so that no name leads to those between", {29, 22}, 22, 28},
    };
    for (const MoveCase& c : cases) {
        SCOPED_TRACE(c.name);
        const ScopedTemporaryDirectory folder;
        const ScopedTemporaryDirectory elsewhere;
        MakeChain(folder.fd, kDepth);
        std::vector<int> found(kDepth + 1);
        EXPECT_TRUE(VisitFilesRecursively(folder.fd, [&](const UniqueFD&, const std::string& name) {
            if (name == "d")
                return true;
            const auto level = static_cast<std::size_t>(std::stoi(name));
            if (++found[level] == 1 && level == kDepth)
                for (const int moved : c.moved) {
                    std::string from = folder.path;
                    for (int i = 0; i < moved; ++i)
                        from += "/d";
                    const std::string to = elsewhere.path + '/' + std::to_string(moved);
                    EXPECT_TRUE(MoveFileOrDirectory(from.c_str(), to.c_str()));
                }
            return true;
        }));
        for (int level = 1; level <= kDepth; ++level)
            if (level < c.first_lost || level > c.last_lost) {
                EXPECT_EQ(found[static_cast<std::size_t>(level)], kFilesInEach) << level;
            }
    }
}

}  // namespace
}  // namespace kiv
