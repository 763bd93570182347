#include <cerrno>
#include <csignal>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "kiv/base/file.h"
#include "support/childProcess.h"
#include "support/files.h"

namespace kiv {
namespace {

using ::testing::ElementsAre;
using testing::NamesIn;
using testing::PassesInChild;
using testing::ReadFile;
using testing::RefuseCalls;
using testing::RefusedCall;
using testing::WriteFile;

struct SystemCase {
    const char* name;
    std::vector<RefusedCall> refused;
    bool moves_all = true;  // and not plain files alone
};

bool Move(const std::string& from, const std::string& to) {
    return MoveFileOrDirectory(from.c_str(), to.c_str());
}

bool Copy(const std::string& from, const std::string& to) {
    return CopyFileUtf8(from.c_str(), to.c_str());
}

struct stat StatusOf(const std::string& path) {
    struct stat status = {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status;
}

void ExpectMoves(bool moves_all) {
    const ScopedTemporaryDirectory folder;
    const std::string in = folder.path + '/';
    WriteFile(in + "a", "A");
    ASSERT_EQ(::chmod((in + "a").c_str(), 0640), 0);
    const struct timespec times[] = {{1000, 0}, {2000, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, (in + "a").c_str(), times, 0), 0);
    EXPECT_TRUE(Move(in + "a", in + "b"));
    EXPECT_EQ(ReadFile(in + "b"), "A");
    EXPECT_EQ(StatusOf(in + "b").st_mode, mode_t{S_IFREG | 0640});
    EXPECT_EQ(StatusOf(in + "b").st_mtim.tv_sec, 2000);

    ASSERT_EQ(::symlink("nothing", (in + "link").c_str()), 0);
    EXPECT_EQ(Move(in + "link", in + "l"), moves_all);
    ASSERT_TRUE(CreateDirectory(folder.fd, {"dir", "sub"}, FilePermission::Read).is_valid());
    EXPECT_EQ(Move(in + "dir", in + "d"), moves_all);
    const std::string dir = moves_all ? "d" : "dir";
    const std::string link = moves_all ? "l" : "link";

    WriteFile(in + "new", "N");
    for (const std::string& taken : {std::string("b"), dir, dir + "/sub", link, std::string("new")})
        for (const std::string& from : {std::string("new"), dir + "/sub", link})
            EXPECT_FALSE(Move(in + from, in + taken)) << from << " to " << taken;
    EXPECT_FALSE(Move(in + dir, in + dir + "/sub/below"));
    EXPECT_FALSE(Move(in + "missing", in + "free"));
    EXPECT_FALSE(Move(in + "new", in + "missing/free"));
    EXPECT_EQ(ReadFile(in + "b"), "A");
    EXPECT_THAT(NamesIn(folder.fd), ElementsAre("b", dir, link, "new"));
    EXPECT_THAT(NamesIn(in + dir), ElementsAre("sub"));
}

TEST(MoveFileOrDirectoryTest, NeverReplaces) {
    const SystemCase cases[] = {
        {"on this file system", {}},
        {"without such a rename", {{SYS_renameat2, EINVAL}}},
        {"and without second names", {{SYS_renameat2, ENOSYS}, {SYS_linkat, EPERM}}},
        {"to another file system", {{SYS_renameat2, EXDEV, true}}, false},
        {"and without such a rename there",
         {{SYS_renameat2, EXDEV, true}, {SYS_renameat2, EINVAL}, {SYS_linkat, EPERM}},
         false},
    };
    for (const SystemCase& c : cases)
        EXPECT_TRUE(PassesInChild([&] {
            SCOPED_TRACE(c.name);
            RefuseCalls(c.refused);
            ExpectMoves(c.moves_all);
        }));
}

TEST(MoveFileOrDirectoryTest, LeavesBothSidesAsTheyWereIfItBreaksOff) {
    struct Case {
        const char* name;
        mode_t from, to;
        bool moves;
    };
    const Case cases[] = {{"nothing in the way", 0777, 0777, true},
                          {"the source stays", 0555, 0777, false},
                          {"nobody could sync the target", 0777, 0333, false}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const ScopedTemporaryDirectory folder;
        const UniqueFD from = OpenDirectory(folder.fd, "from", true, FilePermission::Read);
        const UniqueFD to = OpenDirectory(folder.fd, "to", true, FilePermission::Read);
        WriteFile(folder.path + "/from/a", "A");
        ASSERT_EQ(::fchmod(folder.fd.get(), 0755), 0);
        ASSERT_EQ(::fchmod(from.get(), c.from) + ::fchmod(to.get(), c.to), 0);
        EXPECT_TRUE(PassesInChild([&] {
            RefuseCalls({{SYS_renameat2, EXDEV, true}});
            ASSERT_TRUE(::geteuid() != 0 || ::seteuid(65534) == 0);
            EXPECT_EQ(Move(folder.path + "/from/a", folder.path + "/to/a"), c.moves);
        }));
        ASSERT_EQ(::fchmod(from.get(), 0700) + ::fchmod(to.get(), 0700), 0);
        EXPECT_EQ(NamesIn(from).size(), c.moves ? 0u : 1u);
        EXPECT_EQ(NamesIn(to).size(), c.moves ? 1u : 0u);
    }
}

void ExpectCopies() {
    const ScopedTemporaryDirectory folder;
    const std::string in = folder.path + '/';
    const std::string large(100'000, 'x');
    WriteFile(in + "a", large);
    ASSERT_EQ(::chmod((in + "a").c_str(), 0751), 0);
    WriteFile(in + "b", "B");
    ASSERT_EQ(::symlink("b", (in + "toB").c_str()), 0);
    ASSERT_EQ(::symlink((in + "toB").c_str(), (in + "toToB").c_str()), 0);
    ASSERT_EQ(::symlink("made", (in + "toMissing").c_str()), 0);
    const char* const targets[][2] = {
        {"new", "new"}, {"b", "b"}, {"toToB", "b"}, {"toMissing", "made"}};
    for (const auto& [to, changed] : targets) {
        SCOPED_TRACE(to);
        EXPECT_TRUE(Copy(in + "a", in + to));
        EXPECT_EQ(ReadFile(in + changed), large);
        EXPECT_EQ(StatusOf(in + changed).st_mode, mode_t{S_IFREG | 0751});
        WriteFile(in + changed, "B");
    }
    EXPECT_TRUE(Copy("/proc/self/status", in + "b"));  // its size is said to be 0
    EXPECT_THAT(ReadFile(in + "b"), ::testing::HasSubstr("Pid:"));
    const UniqueFD sparse = OpenFile(folder.fd, "sparse", true, FilePermission::Write);
    for (const off_t offset : {0, 1'000'000})
        ASSERT_EQ(::pwrite(sparse.get(), "x", 1, offset), 1);
    ASSERT_TRUE(TruncateFile(sparse, 2'000'000));
    EXPECT_TRUE(Copy(in + "sparse", in + "made"));
    EXPECT_TRUE(ReadFile(in + "made") == ReadFile(in + "sparse"));
    EXPECT_LT(StatusOf(in + "made").st_blocks, StatusOf(in + "sparse").st_blocks + 100);
    EXPECT_THAT(NamesIn(folder.fd),
                ElementsAre("a", "b", "made", "new", "sparse", "toB", "toMissing", "toToB"));
}

TEST(CopyFileUtf8Test, PutsTheCopyInPlaceOfWhatIsThere) {
    const SystemCase cases[] = {
        {"on this file system", {}},
        {"from another file system", {{SYS_copy_file_range, EXDEV}}},
        {"without a call for it", {{SYS_copy_file_range, ENOSYS}}},
    };
    for (const SystemCase& c : cases)
        EXPECT_TRUE(PassesInChild([&] {
            SCOPED_TRACE(c.name);
            RefuseCalls(c.refused);
            ExpectCopies();
        }));
}

TEST(CopyFileUtf8Test, FollowsTheLinksThatOpeningFollows) {
    const ScopedTemporaryDirectory folder;
    // Of a folder for all, a link that somebody else laid out may not be followed.
    ASSERT_EQ(::fchmod(folder.fd.get(), 01777), 0);
    EXPECT_TRUE(PassesInChild([&] {
        ASSERT_EQ(::chdir(folder.path.c_str()), 0);
        WriteFile("a", "A");
        WriteFile("0", "");
        for (int i = 1; i <= 41; ++i)
            ASSERT_EQ(::symlink(std::to_string(i - 1).c_str(), std::to_string(i).c_str()), 0);
        ASSERT_EQ(::symlink("0", "foreign"), 0);
        ASSERT_TRUE(::geteuid() != 0 || ::lchown("foreign", 65534, 65534) == 0);
        EXPECT_TRUE(Copy("a", "39"));
        for (const char* name : {"40", "41", "foreign"})
            EXPECT_EQ(Copy("a", name), OpenFile(name, false, FilePermission::Write).is_valid())
                << name;
        EXPECT_EQ(ReadFile("0"), "A");
    }));
}

TEST(CopyFileUtf8Test, LeavesWhatItCannotCopyOrReplace) {
    const ScopedTemporaryDirectory folder;
    const std::string in = folder.path + '/';
    WriteFile(in + "a", "A");
    WriteFile(in + "b", "B");
    ASSERT_EQ(::link((in + "a").c_str(), (in + "second").c_str()), 0);
    ASSERT_EQ(::symlink("a", (in + "link").c_str()), 0);
    ASSERT_EQ(::symlink("loop", (in + "loop").c_str()), 0);
    ASSERT_EQ(::mkfifo((in + "pipe").c_str(), 0600), 0);
    ASSERT_TRUE(OpenDirectory(folder.fd, "dir", true, FilePermission::Read).is_valid());
    const auto before = NamesIn(folder.fd);

    const char* const cases[][2] = {{"a", "a"},     {"a", "link"},   {"a", "second"}, {"link", "a"},
                                    {"a", "dir"},   {"a", "pipe"},   {"a", "loop"},   {"dir", "b"},
                                    {"pipe", "b"},  {"loop", "b"},   {"no", "b"},     {"a", "no/b"},
                                    {"a", "free/"}, {"a", "."},      {"a", "dir/.."}, {"a", "b/c"},
                                    {"dir", "new"}, {"pipe", "new"}, {"missing", "b"}};
    for (const auto& [from, to] : cases)
        EXPECT_FALSE(Copy(in + from, in + to)) << from << " to " << to;

    // The disk is full, as far as this process goes.
    EXPECT_TRUE(PassesInChild([&] {
        WriteFile(in + "large", std::string(100'000, 'x'));
        ASSERT_NE(::signal(SIGXFSZ, SIG_IGN), SIG_ERR);
        const rlimit limit{50'000, 50'000};
        ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
        EXPECT_FALSE(Copy(in + "large", in + "b"));
        EXPECT_FALSE(Copy(in + "large", in + "new"));
        EXPECT_TRUE(UnlinkFile(folder.fd, "large"));
    }));
    // Somebody may not write the target, but all in its directory.
    ASSERT_EQ(::chmod((in + "b").c_str(), 0444), 0);
    ASSERT_EQ(::chmod(folder.path.c_str(), 0777), 0);
    EXPECT_TRUE(PassesInChild([&] {
        ASSERT_TRUE(::geteuid() != 0 || ::seteuid(65534) == 0);
        EXPECT_FALSE(Copy(in + "a", in + "b"));
        EXPECT_TRUE(Copy(in + "a", in + "new"));
        EXPECT_TRUE(UnlinkFile(folder.fd, "new"));
    }));

    EXPECT_EQ(ReadFile(in + "a"), "A");
    EXPECT_EQ(ReadFile(in + "b"), "B");
    EXPECT_EQ(NamesIn(folder.fd), before);
}

}  // namespace
}  // namespace kiv
