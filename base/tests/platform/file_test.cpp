#include "kiv/base/file.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/childProcess.h"
#include "support/files.h"
#include "support/logCatcher.h"

namespace kiv {
namespace {

using namespace ::testing;
using namespace testing;
using FileTest = FolderTest;

constexpr FilePermission kAny[] = {FilePermission::Read, FilePermission::Write,
                                   FilePermission::ReadWrite, FilePermission{77}};

TEST_F(FileTest, FilesAreMadeKeptAndCut) {
    EXPECT_FALSE(OpenFile(folder_.fd, "a", false, FilePermission::Write).is_valid());
    EXPECT_TRUE(OpenFile(folder_.fd, "a", true, FilePermission::Read).is_valid());
    Put("a", "contents");

    const UniqueFD file = OpenFile(folder_.fd, "a", true, FilePermission::ReadWrite);
    EXPECT_EQ(TextIn("a"), "contents");
    EXPECT_TRUE(TruncateFile(file, 3));
    EXPECT_EQ(TextIn("a"), "con");
    EXPECT_TRUE(TruncateFile(file, 5));
    EXPECT_EQ(TextIn("a"), std::string("con\0\0", 5));
    for (const uint64 size : {~uint64{0}, uint64{1} << 63})
        EXPECT_FALSE(TruncateFile(file, size));
    EXPECT_FALSE(TruncateFile(OpenFileReadOnly(folder_.fd, "a"), 1));
    EXPECT_FALSE(TruncateFile(folder_.fd, 1));
}

TEST_F(FileTest, AFileIsNoDirectoryAndADirectoryNoFile) {
    Put("file", "");
    ASSERT_EQ(::mkdir(PathOf("dir").c_str(), 0700), 0);
    ASSERT_EQ(::mkfifo(PathOf("pipe").c_str(), 0600), 0);
    Link("file", "toFile");
    Link("dir", "toDir");
    Link("nothing", "toNothing");
    const struct {
        const char* path;
        bool is_plain, opens_as_file, is_directory;
    } cases[] = {
        {"file", true, true, false},        {"dir", false, false, true},
        {"pipe", false, true, false},       {"toFile", false, true, false},
        {"toDir", false, false, true},      {"toNothing", false, false, false},
        {"", false, false, true},           {".", false, false, true},
        {"dir/../file", true, true, false}, {".//file", true, true, false},
        {"dir/", false, false, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        const std::string path = PathOf(c.path);
        EXPECT_EQ(IsFile(path), c.is_plain);
        EXPECT_TRUE(FileExists(folder_.fd, c.path));
        EXPECT_TRUE(FileExists(UniqueFD(), path.c_str()));
        EXPECT_EQ(IsDirectory(folder_.fd, c.path), c.is_directory);
        for (const FilePermission permission : kAny) {
            // A pipe can't be written without a reader, and nobody waits for one.
            const bool opens = c.opens_as_file && (permission != FilePermission::Write ||
                                                   std::string_view(c.path) != "pipe");
            EXPECT_EQ(OpenFile(folder_.fd, c.path, false, permission).is_valid(), opens);
            EXPECT_EQ(OpenFile(path.c_str(), false, permission).is_valid(), opens);
            EXPECT_EQ(IsDirectory(OpenDirectory(folder_.fd, c.path, false, permission)),
                      c.is_directory);
            EXPECT_EQ(OpenDirectory(path.c_str(), true, permission).is_valid(), c.is_directory);
        }
    }
    EXPECT_FALSE(IsDirectory(OpenFileReadOnly(folder_.fd, "file")));
    EXPECT_FALSE(UnlinkFile(folder_.fd, "dir"));
    EXPECT_FALSE(UnlinkDirectory(folder_.fd, "file"));
    EXPECT_FALSE(UnlinkDirectory(folder_.fd, "toDir"));
    EXPECT_TRUE(UnlinkDirectory(folder_.fd, "dir"));
    for (const char* name : {"file", "pipe", "toDir", "toFile", "toNothing"})
        EXPECT_TRUE(UnlinkFile(folder_.fd, name)) << name;
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(FileTest, HandlesWaitLaterAndStayInThisProcess) {
    ASSERT_EQ(::mkfifo(PathOf("pipe").c_str(), 0600), 0);
    const UniqueFD pipe = OpenFileReadOnly(folder_.fd, "pipe");
    const UniqueFD file = OpenFile(folder_.fd, "file", true, FilePermission::Write);
    const UniqueFD second = Duplicate(pipe.get());
    for (const UniqueFD* handle : {&pipe, &file, &second, &folder_.fd}) {
        EXPECT_EQ(::fcntl(handle->get(), F_GETFL) & O_NONBLOCK, 0);
        EXPECT_EQ(::fcntl(handle->get(), F_GETFD), FD_CLOEXEC);
    }
    EXPECT_NE(second.get(), pipe.get());
    EXPECT_FALSE(Duplicate(-1).is_valid());
    EXPECT_FALSE(Duplicate(AT_FDCWD).is_valid());
}

TEST_F(FileTest, ClosingForgetsTheHandleAndZeroIsOne) {
    EXPECT_TRUE(PassesInChild([] {
        ::close(0);
        UniqueFD root = OpenDirectory("/", false, FilePermission::Read);
        EXPECT_EQ(root.get(), 0);
        EXPECT_TRUE(IsDirectory(root, "tmp"));
        auto& cached = internal::KIV_BASE_SYSTEM::UniqueFDTraits::file_map;
        cached.emplace(0, internal::KIV_BASE_SYSTEM::DirCacheEntry());
        root.reset();
        EXPECT_THAT(cached, IsEmpty());
        EXPECT_EQ(::fcntl(0, F_GETFD), -1);
    }));
}

TEST_F(FileTest, WaitsForALeaseToBeGivenUp) {
    Put("a", "");
    const UniqueFD reader = OpenFileReadOnly(folder_.fd, "a");
    if (::fcntl(reader.get(), F_SETLEASE, F_RDLCK) != 0 && (errno == EINVAL || errno == EAGAIN))
        GTEST_SKIP() << "this file system has no leases";
    ASSERT_EQ(::fcntl(reader.get(), F_SETLEASE, F_UNLCK), 0);
    EXPECT_TRUE(PassesInChild([&] {
        sigset_t broken;
        ::sigemptyset(&broken);
        ::sigaddset(&broken, SIGIO);
        ::pthread_sigmask(SIG_BLOCK, &broken, nullptr);
        ASSERT_EQ(::fcntl(reader.get(), F_SETLEASE, F_RDLCK), 0);
        std::thread holder([&] {
            int signal = 0;
            ::sigwait(&broken, &signal);
            ::fcntl(reader.get(), F_SETLEASE, F_UNLCK);
        });
        EXPECT_TRUE(OpenFile(folder_.fd, "a", false, FilePermission::Write).is_valid());
        holder.join();
    }));
}

TEST_F(FileTest, ADirectoryIsMadeWithWhatIsMissingAboveIt) {
    EXPECT_TRUE(CreateDirectory(folder_.fd, {"a", "b"}, FilePermission::Read).is_valid());
    EXPECT_TRUE(
        CreateDirectory(folder_.fd, {"a", "b", "\xFF\xFE"}, FilePermission::ReadWrite).is_valid());
    EXPECT_TRUE(IsDirectory(folder_.fd, "a/b/\xFF\xFE"));

    Put("file", "");
    const std::vector<std::string> refused[] = {
        {}, {"file"}, {"file", "c"}, {"new", std::string("a\0b", 3)}, {std::string(300, 'x')}};
    for (const std::vector<std::string>& components : refused)
        EXPECT_FALSE(CreateDirectory(folder_.fd, components, FilePermission::Read).is_valid());
    for (const UniqueFD& base : {UniqueFD(), OpenFileReadOnly(folder_.fd, "file")})
        EXPECT_FALSE(CreateDirectory(base, {PathOf("new")}, FilePermission::Read).is_valid());
    EXPECT_THAT(Names(), ElementsAre("a", "file"));
}

// All operations that take a path, as questions whether they succeed.
using Operation = bool (*)(const UniqueFD& base, const char* path);

constexpr FilePermission kRead = FilePermission::Read;
constexpr FilePermission kWrite = FilePermission::Write;

const Operation kBelowBase[] = {
    [](auto& base, auto path) { return OpenFileReadOnly(base, path).is_valid(); },
    [](auto& base, auto path) { return OpenFile(base, path, true, kWrite).is_valid(); },
    [](auto& base, auto path) { return OpenDirectoryReadOnly(base, path).is_valid(); },
    [](auto& base, auto path) { return OpenDirectory(base, path, true, kRead).is_valid(); },
    [](auto& base, auto path) { return IsDirectory(base, path); },
    [](auto& base, auto path) { return FileExists(base, path); },
    [](auto& base, auto path) { return UnlinkFile(base, path); },
    [](auto& base, auto path) { return UnlinkDirectory(base, path); },
    [](auto& base, auto path) { return RemoveDirectoryRecursively(base, path); },
};

const Operation kByPath[] = {
    [](auto&, auto path) { return OpenFile(path, false, kRead).is_valid(); },
    [](auto&, auto path) { return OpenFile(path, true, kWrite).is_valid(); },
    [](auto&, auto path) { return OpenDirectory(path, false, kRead).is_valid(); },
    [](auto&, auto path) { return OpenDirectory(path, true, kRead).is_valid(); },
    [](auto&, auto path) { return UnlinkFile(path); },
    [](auto&, auto path) { return UnlinkDirectory(path); },
    [](auto&, auto path) { return path != nullptr && IsFile(path); },
    [](auto&, auto path) { return MoveFileOrDirectory(path, "new"); },
    [](auto&, auto path) { return MoveFileOrDirectory("file", path); },
    [](auto&, auto path) { return CopyFileUtf8(path, "new"); },
    [](auto&, auto path) { return CopyFileUtf8("file", path); },
};

TEST_F(FileTest, BadPathsFailEverywhereWithoutATrace) {
    Put("file", "contents");
    Link("loop", "loop");
    ASSERT_TRUE(
        CreateDirectory(folder_.fd, {"outer", "inner", "dir"}, FilePermission::Read).is_valid());
    std::string deep;
    for (int i = 0; i < 3000; ++i)
        deep += "a/";
    const std::string bad[] = {"missing/a", "missing/../a", "file/", "file/a",
                               "loop/a",    "loop/",        deep,    std::string(300, 'x')};

    // A child has the folder as its working directory, where a relative path must not be looked up
    // if its base is none.
    EXPECT_TRUE(PassesInChild([&] {
        ASSERT_EQ(::chdir(folder_.path.c_str()), 0);
        const UniqueFD file = OpenFileReadOnly(folder_.fd, "file");
        const UniqueFD none;
        const UniqueFD workingDirectory(AT_FDCWD);
        const UniqueFD inner = OpenDirectoryReadOnly(folder_.fd, "outer/inner");
        LogCatcher log;
        const std::size_t descriptors = OpenDescriptors();
        const auto refuses = [&](Operation succeeds, std::size_t number) {
            for (const std::string& path : bad)
                EXPECT_FALSE(succeeds(folder_.fd, path.c_str())) << number << path;
            EXPECT_FALSE(succeeds(folder_.fd, nullptr)) << number;
        };
        for (const Operation& succeeds : kBelowBase) {
            refuses(succeeds, &succeeds - kBelowBase);
            for (const UniqueFD* base : {&file, &none, &workingDirectory})
                for (const char* path : {"file", "new", "", "."})
                    EXPECT_FALSE(succeeds(*base, path)) << &succeeds - kBelowBase << path;
        }
        for (const Operation& succeeds : kByPath) {
            refuses(succeeds, &succeeds - kByPath);
            EXPECT_FALSE(succeeds(none, "")) << &succeeds - kByPath;
        }
        // No name of an entry. Two levels down, so that even a fault in the removal would reach
        // nothing but this test's own folder; never try such a thing with the root.
        for (const char* path : {"", ".", "./", "..", "../", "dir/..", "dir/."}) {
            EXPECT_FALSE(UnlinkFile(inner, path)) << path;
            EXPECT_FALSE(UnlinkDirectory(inner, path)) << path;
            EXPECT_FALSE(RemoveDirectoryRecursively(inner, path)) << path;
        }
        EXPECT_FALSE(IsFile(std::string("file\0", 5)));
        EXPECT_TRUE(RemoveFilesInDirectory(none));  // like an empty one
        EXPECT_EQ(OpenDescriptors(), descriptors);
        EXPECT_THAT(log.Take(), IsEmpty());
    }));
    EXPECT_EQ(TextIn("file"), "contents");
    EXPECT_THAT(Names(), ElementsAre("file", "loop", "outer"));
    EXPECT_TRUE(IsDirectory(folder_.fd, "outer/inner/dir"));
}

TEST(ScopedTemporaryDirectoryTest, GoesAwayWithAllThatIsInIt) {
    std::string path;
    {
        const ScopedTemporaryDirectory folder;
        path = folder.path;
        struct stat status;
        ASSERT_EQ(::fstat(folder.fd.get(), &status), 0);
        EXPECT_EQ(status.st_mode, mode_t{S_IFDIR | 0700});
        EXPECT_TRUE(CreateDirectory(folder.fd, {"a", "b", "c"}, FilePermission::Read).is_valid());
        WriteFile(path + "/a/b/c/d", "x");
        EXPECT_NE(ScopedTemporaryDirectory().path, path);
    }
    EXPECT_FALSE(FileExists(UniqueFD(), path.c_str()));
}

TEST_F(FileTest, TemporaryDirectoriesStandInTheFolderForSuchIfThereIsOne) {
    const std::pair<std::string, std::string> cases[] = {{folder_.path, PathOf("")},
                                                         {PathOf(""), PathOf("")},
                                                         {"relative", "/tmp/"},
                                                         {"", "/tmp/"},
                                                         {PathOf("missing"), ""}};
    EXPECT_TRUE(PassesInChild([&] {
        for (const auto& [told, expected] : cases) {
            ASSERT_EQ(::setenv("TMPDIR", told.c_str(), 1), 0);
            const ScopedTemporaryDirectory made;
            EXPECT_EQ(made.path.substr(0, made.path.rfind('/') + 1), expected);
            EXPECT_EQ(made.fd.is_valid(), !expected.empty());
        }
    }));
    EXPECT_THAT(Names(), IsEmpty());
}

}  // namespace
}  // namespace kiv
