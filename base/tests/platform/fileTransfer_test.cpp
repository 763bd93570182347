#include <cerrno>
#include <csignal>
#include <filesystem>
#include <functional>
#include <string>

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "kiv/base/file.h"
#include "support/childProcess.h"
#include "support/files.h"

namespace kiv {
namespace {

using namespace ::testing;
using namespace testing;

struct SystemCase {
    const char* name;
    std::vector<RefusedCall> refused;
    bool moves_all = true;  // and not plain files alone
};

bool Move(const std::string& from, const std::string& to) {
    return MoveFileOrDirectory(from.c_str(), to.c_str());
}

struct stat StatusOf(const char* path) {
    struct stat status = {};
    EXPECT_EQ(::stat(path, &status), 0) << path;
    return status;
}

// Runs the body in a child that stands in a new folder.
bool PassesInNewFolder(const std::function<void()>& body) {
    const ScopedTemporaryDirectory folder;
    return PassesInChild([&] {
        ASSERT_EQ(::chdir(folder.path.c_str()), 0);
        body();
    });
}

void ExpectMoves(bool moves_all) {
    WriteFile("a", "A");
    ASSERT_EQ(::chmod("a", 0640), 0);
    const struct timespec times[] = {{1000, 0}, {2000, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, "a", times, 0), 0);
    EXPECT_TRUE(Move("a", "b"));
    EXPECT_EQ(ReadFile("b"), "A");
    EXPECT_EQ(StatusOf("b").st_mode, mode_t{S_IFREG | 0640});
    EXPECT_EQ(StatusOf("b").st_mtim.tv_sec, 2000);

    ASSERT_EQ(::symlink("nothing", "link") + ::mkdir("dir", 0700) + ::mkdir("dir/sub", 0700), 0);
    EXPECT_EQ(Move("link", "l"), moves_all);
    EXPECT_EQ(Move("dir", "d"), moves_all);
    const std::string dir = moves_all ? "d" : "dir";
    const std::string link = moves_all ? "l" : "link";

    WriteFile("new", "N");
    for (const std::string& from : {std::string("new"), dir + "/sub", link})
        for (const std::string& taken : {std::string("b"), dir, dir + "/sub", link})
            EXPECT_FALSE(Move(from, taken)) << from << " to " << taken;
    EXPECT_FALSE(Move(dir, dir + "/sub/below"));
    EXPECT_FALSE(Move("missing", "free"));
    EXPECT_FALSE(Move("new", "missing/free"));
    EXPECT_EQ(ReadFile("b"), "A");
    EXPECT_THAT(NamesIn("."), ElementsAre("b", dir, link, "new"));
    EXPECT_THAT(NamesIn(dir), ElementsAre("sub"));
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
        EXPECT_TRUE(PassesInNewFolder([&] {
            RefuseCalls(c.refused);
            ExpectMoves(c.moves_all);
        })) << c.name;
}

TEST(MoveFileOrDirectoryTest, LeavesBothSidesAsTheyWereIfItBreaksOff) {
    const struct {
        const char* name;
        mode_t from, to;
        bool moves;
    } cases[] = {{"nothing in the way", 0777, 0777, true},
                 {"the source stays", 0555, 0777, false},
                 {"nobody could sync the target", 0777, 0333, false}};
    for (const auto& c : cases)
        EXPECT_TRUE(PassesInNewFolder([&] {
            const UniqueFD from = OpenDirectory("from", true, FilePermission::Read);
            const UniqueFD to = OpenDirectory("to", true, FilePermission::Read);
            WriteFile("from/a", "A");
            ASSERT_EQ(::chmod(".", 0755) + ::chmod("from", c.from) + ::chmod("to", c.to), 0);
            RefuseCalls({{SYS_renameat2, EXDEV, true}});
            GiveUpRoot();
            EXPECT_EQ(Move("from/a", "to/a"), c.moves);
            EXPECT_EQ(NamesIn(from).size(), c.moves ? 0u : 1u);
            EXPECT_EQ(NamesIn(to).size(), c.moves ? 1u : 0u);
            for (const UniqueFD* locked : {&from, &to})
                ::fchmod(locked->get(), 0700);  // of one's own, so that it can be removed
        })) << c.name;
}

void ExpectCopies() {
    const std::string large(100'000, 'x');
    WriteFile("a", large);
    WriteFile("b", "B");
    ASSERT_EQ(::chmod("a", 0751), 0);
    ASSERT_EQ(::symlink("b", "toB") + ::symlink("made", "toMissing"), 0);
    std::filesystem::create_symlink(std::filesystem::current_path() / "toB", "toToB");
    const char* const targets[][2] = {
        {"new", "new"}, {"b", "b"}, {"toToB", "b"}, {"toMissing", "made"}};
    for (const auto& [to, changed] : targets) {
        SCOPED_TRACE(to);
        EXPECT_TRUE(CopyFileUtf8("a", to));
        EXPECT_EQ(ReadFile(changed), large);
        EXPECT_EQ(StatusOf(changed).st_mode, mode_t{S_IFREG | 0751});
        WriteFile(changed, "B");
    }
    EXPECT_TRUE(CopyFileUtf8("/proc/self/status", "b"));  // its size is said to be 0
    EXPECT_THAT(ReadFile("b"), HasSubstr("Pid:"));
    const UniqueFD sparse = OpenFile("sparse", true, FilePermission::Write);
    for (const off_t offset : {0, 1'000'000})
        ASSERT_EQ(::pwrite(sparse.get(), "x", 1, offset), 1);
    ASSERT_TRUE(TruncateFile(sparse, 2'000'000));
    EXPECT_TRUE(CopyFileUtf8("sparse", "made"));
    EXPECT_TRUE(ReadFile("made") == ReadFile("sparse"));
    EXPECT_LT(StatusOf("made").st_blocks, StatusOf("sparse").st_blocks + 100);
    EXPECT_THAT(NamesIn("."),
                ElementsAre("a", "b", "made", "new", "sparse", "toB", "toMissing", "toToB"));
}

TEST(CopyFileUtf8Test, PutsTheCopyInPlaceOfWhatIsThere) {
    for (const int error : {0, EXDEV, ENOSYS})
        EXPECT_TRUE(PassesInNewFolder([&] {
            if (error != 0)
                RefuseCalls({{SYS_copy_file_range, error}});
            ExpectCopies();
        })) << error;
}

TEST(CopyFileUtf8Test, FollowsTheLinksThatOpeningFollows) {
    EXPECT_TRUE(PassesInNewFolder([] {
        // Of a folder for all, a link that somebody else laid out may not be followed.
        ASSERT_EQ(::chmod(".", 01777), 0);
        WriteFile("a", "A");
        WriteFile("0", "");
        for (int i = 1; i <= 41; ++i)
            ASSERT_EQ(::symlink(std::to_string(i - 1).c_str(), std::to_string(i).c_str()), 0);
        ASSERT_EQ(::symlink("0", "foreign"), 0);
        ASSERT_TRUE(::geteuid() != 0 || ::lchown("foreign", 65534, 65534) == 0);
        EXPECT_TRUE(CopyFileUtf8("a", "39"));
        for (const char* name : {"40", "41", "foreign"})
            EXPECT_EQ(CopyFileUtf8("a", name),
                      OpenFile(name, false, FilePermission::Write).is_valid())
                << name;
        EXPECT_EQ(ReadFile("0"), "A");
    }));
}

TEST(CopyFileUtf8Test, LeavesWhatItCannotCopyOrReplace) {
    EXPECT_TRUE(PassesInNewFolder([] {
        WriteFile("a", "A");
        WriteFile("b", "B");
        WriteFile("large", std::string(100'000, 'x'));
        ASSERT_EQ(::link("a", "second") + ::symlink("a", "link") + ::symlink("loop", "loop"), 0);
        ASSERT_EQ(::mkfifo("pipe", 0600) + ::mkdir("dir", 0700), 0);
        const auto before = NamesIn(".");
        const char* const cases[][2] = {
            {"a", "a"},    {"a", "link"},  {"a", "second"}, {"link", "a"}, {"a", "dir"},
            {"a", "pipe"}, {"a", "loop"},  {"dir", "b"},    {"pipe", "b"}, {"loop", "b"},
            {"no", "b"},   {"a", "no/b"},  {"a", "free/"},  {"a", "."},    {"a", "dir/.."},
            {"a", "b/c"},  {"dir", "new"}, {"pipe", "new"}};
        for (const auto& [from, to] : cases)
            EXPECT_FALSE(CopyFileUtf8(from, to)) << from << " to " << to;

        // The disk is full, as far as this process goes.
        ASSERT_NE(::signal(SIGXFSZ, SIG_IGN), SIG_ERR);
        const rlimit limit{50'000, RLIM_INFINITY};
        ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
        EXPECT_FALSE(CopyFileUtf8("large", "b"));
        EXPECT_FALSE(CopyFileUtf8("large", "new"));
        // Somebody may not write the target, but all in its directory.
        ASSERT_EQ(::chmod("b", 0444) + ::chmod(".", 0777), 0);
        GiveUpRoot();
        EXPECT_FALSE(CopyFileUtf8("a", "b"));
        EXPECT_TRUE(CopyFileUtf8("a", "new"));
        EXPECT_EQ(::unlink("new"), 0);

        EXPECT_EQ(ReadFile("a"), "A");
        EXPECT_EQ(ReadFile("b"), "B");
        EXPECT_EQ(NamesIn("."), before);
    }));
}

}  // namespace
}  // namespace kiv
