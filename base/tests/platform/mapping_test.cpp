#include "kiv/base/mapping.h"

#include <atomic>
#include <cerrno>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "support/childProcess.h"
#include "support/executableFolder.h"
#include "support/files.h"

namespace kiv {
namespace {

using namespace std::string_literals;
using enum FileMapping::Protection;

constexpr uint64 kPage = 4096;

std::string TextOf(const Mapping& mapping) {
    return {reinterpret_cast<const char*>(mapping.GetMapping()), mapping.GetSize()};
}

class MappingTest : public ::testing::Test {
protected:
    std::string PathOf(const std::string& name) const { return folder_.path + "/" + name; }

    void WriteText(const std::string& name, const std::string& text) const {
        testing::WriteFile(PathOf(name), text);
    }
    std::string ReadText(const std::string& name) const { return testing::ReadFile(PathOf(name)); }
    struct stat StatusOf(const std::string& name) const {
        struct stat status {};
        EXPECT_EQ(::lstat(PathOf(name).c_str(), &status), 0) << name;
        return status;
    }

    const ScopedTemporaryDirectory folder_;
};

TEST_F(MappingTest, ProtectionSaysWhatTheViewIsGoodFor) {
    WriteText("file", "contents");
    const struct {
        std::initializer_list<FileMapping::Protection> protection;
        FilePermission permission;
        bool valid;
        bool writable;
    } cases[] = {
        {{}, FilePermission::Read, true, false},
        {{Read}, FilePermission::Read, true, false},
        {{Write}, FilePermission::ReadWrite, true, true},
        {{Read, Write}, FilePermission::ReadWrite, true, true},
        {{Read, Write}, FilePermission::Read, false, false},
        {{Read}, FilePermission::Write, false, false},
        {{Write, Execute}, FilePermission::ReadWrite, false, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        UniqueFD file = OpenFile(folder_.fd, "file", false, c.permission);
        FileMapping mapping(file, c.protection);
        file.reset();
        EXPECT_EQ(mapping.IsValid(), c.valid);
        EXPECT_EQ(mapping.GetMutableMapping(), c.writable ? mapping.GetMapping() : nullptr);
        EXPECT_EQ(mapping.IsDontNeedSafe(), !c.writable);
        EXPECT_EQ(TextOf(mapping), c.valid ? "contents" : "");
    }

    FileMapping writable(OpenFile(folder_.fd, "file", false, FilePermission::ReadWrite), {Write});
    writable.GetMutableMapping()[0] = 'C';
    EXPECT_EQ(ReadText("file"), "Contents");
}

TEST_F(MappingTest, FileIsMappedByPathAndOutlivesItsName) {
    WriteText("file", "contents");
    WriteText("empty", "");
    const std::size_t open = testing::OpenDescriptors();

    const auto by_path = FileMapping::CreateReadOnly(PathOf("file"));
    const auto by_base = FileMapping::CreateReadOnly(folder_.fd, "file");
    const auto empty = FileMapping::CreateReadExecute(PathOf("empty"));
    EXPECT_EQ(testing::OpenDescriptors(), open);
    const auto base_itself =
        FileMapping::CreateReadOnly(OpenFileReadOnly(folder_.fd, "file"), std::string());
    EXPECT_TRUE(UnlinkFile(folder_.fd, "file"));

    for (const auto* mapping : {by_path.get(), by_base.get(), base_itself.get()}) {
        ASSERT_NE(mapping, nullptr);
        EXPECT_EQ(TextOf(*mapping), "contents");
    }
    ASSERT_NE(empty, nullptr);
    EXPECT_TRUE(empty->IsValid());
    EXPECT_EQ(empty->GetSize(), 0u);
    EXPECT_EQ(empty->GetMapping(), nullptr);
}

TEST_F(MappingTest, WhatIsNoPlainFileGivesNullAndLeaksNothing) {
    WriteText("file", "contents");
    ASSERT_EQ(::mkfifo(PathOf("pipe").c_str(), 0600), 0);
    ASSERT_EQ(::symlink("loop", PathOf("loop").c_str()), 0);
    const UniqueFD invalid;
    const std::size_t open = testing::OpenDescriptors();

    for (const std::string& name :
         {"missing"s, "pipe"s, "loop"s, "."s, "file/"s, "file\0"s, "file\0/x"s, "/dev/zero"s,
          std::string(300, 'x'), std::string(5000, '/') + "x", "%s%n{}"s}) {
        SCOPED_TRACE(name);
        const std::string path = name[0] == '/' ? name : PathOf(name);
        EXPECT_EQ(FileMapping::CreateReadOnly(path), nullptr);
        EXPECT_EQ(FileMapping::CreateReadExecute(folder_.fd, name), nullptr);
    }
    EXPECT_EQ(FileMapping::CreateReadOnly(""), nullptr);
    EXPECT_EQ(FileMapping::CreateReadOnly(folder_.fd, ""), nullptr);
    EXPECT_EQ(FileMapping::CreateReadOnly(invalid, ""), nullptr);
    EXPECT_EQ(FileMapping::CreateReadOnly(invalid, "file"), nullptr);
    EXPECT_EQ(testing::OpenDescriptors(), open);
}

TEST_F(MappingTest, SizeHasAllOfItsBits) {
    constexpr uint64 kSize = (uint64{5} << 30) + 1;
    const UniqueFD file = OpenFile(folder_.fd, "big", true, FilePermission::ReadWrite);
    ASSERT_TRUE(TruncateFile(file, kSize));
    ASSERT_EQ(::pwrite(file.get(), "x", 1, kSize - 1), 1);

    const auto mapping = FileMapping::CreateReadOnly(folder_.fd, "big");
    ASSERT_NE(mapping, nullptr);
    EXPECT_EQ(mapping->GetSize(), kSize);
    EXPECT_EQ(mapping->GetMapping()[kSize - 1], 'x');
}

using ExecutableMappingTest = testing::ExecutableFolderTest;

TEST_F(ExecutableMappingTest, CodeIsReadAndRuns) {
    const std::string code = "\xB8\x2A\0\0\0\xC3"s;  // mov eax, 42; ret
    testing::WriteFile(folder_.path + "/code", code);
    for (const auto& mapping : {FileMapping::CreateReadExecute(folder_.path + "/code"),
                                FileMapping::CreateReadExecute(folder_.fd, "code")}) {
        ASSERT_NE(mapping, nullptr);
        EXPECT_EQ(TextOf(*mapping), code);
        EXPECT_TRUE(mapping->IsDontNeedSafe());
#ifdef __x86_64__
        const auto address = reinterpret_cast<std::uintptr_t>(mapping->GetMapping());
        EXPECT_EQ(reinterpret_cast<int (*)()>(address)(), 42);
#endif
    }
}

TEST(DataMappingTest, TakesAVectorAndCopiesAText) {
    std::vector<uint8> bytes{1, 2, 3};
    const uint8* const place = bytes.data();
    EXPECT_EQ(DataMapping(std::move(bytes)).GetMapping(), place);
    EXPECT_EQ(TextOf(DataMapping("a\0b"s)), "a\0b"s);
    EXPECT_EQ(DataMapping(std::vector<uint8>()).GetSize(), 0u);
    EXPECT_FALSE(DataMapping(""s).IsDontNeedSafe());
}

TEST(MallocMappingTest, BlockHasOneOwner) {
    MallocMapping copy = MallocMapping::Copy("text", 4);
    MallocMapping moved(std::move(copy));
    EXPECT_EQ(copy.GetSize(), 0u);
    EXPECT_EQ(copy.GetMapping(), nullptr);
    EXPECT_EQ(TextOf(moved), "text");

    const MallocMapping taken(moved.Release(), 4);  // frees it
    EXPECT_EQ(moved.GetSize(), 0u);
    EXPECT_EQ(moved.GetMapping(), nullptr);
    EXPECT_EQ(TextOf(taken), "text");
    EXPECT_EQ(MallocMapping::Copy(nullptr, 0).GetMapping(), nullptr);
}

TEST(NonOwnedMappingTest, OwnerIsToldOnce) {
    const uint8 bytes[] = {1, 2, 3};
    int told = 0;
    const auto tell = [&](const uint8* data, uint64 size) { told += data == bytes && size == 3; };
    {
        const NonOwnedMapping mapping(bytes, 3, tell, true);
        EXPECT_TRUE(mapping.IsDontNeedSafe());
        EXPECT_FALSE(NonOwnedMapping(bytes, 3, nullptr, false).IsDontNeedSafe());
        EXPECT_EQ(told, 0);
    }
    EXPECT_EQ(told, 1);
}

TEST_F(MappingTest, WriteAtomicallyWritesInPlace) {
    for (const auto& old : {""s, "old"s, "the old contents"s}) {
        SCOPED_TRACE(old);
        WriteText("file", old);
        const auto inode = StatusOf("file").st_ino;
        EXPECT_TRUE(WriteAtomically(folder_.fd, "file", DataMapping("contents"s)));
        EXPECT_EQ(ReadText("file"), "contents");
        EXPECT_EQ(StatusOf("file").st_ino, inode);
    }
    EXPECT_TRUE(WriteAtomically(folder_.fd, "new", DataMapping("\0"s)));
    EXPECT_EQ(ReadText("new"), "\0"s);
    EXPECT_FALSE(WriteAtomically(folder_.fd, "file", DataMapping(""s)));
    EXPECT_EQ(ReadText("file"), "");
    EXPECT_EQ(testing::NamesIn(folder_.fd).size(), 2u);
}

TEST_F(MappingTest, FileIsWrittenFromAViewOfItself) {
    std::string text(5 * kPage + 17, 'a');
    for (std::size_t i = 0; i < text.size(); ++i)
        text[i] = static_cast<char>('a' + i % 23);
    for (uint64 begin : {uint64{0}, uint64{1}, uint64{63}, 2 * kPage, 4 * kPage + 5}) {
        for (const auto& write : {WriteAtomically, ReplaceFile}) {
            SCOPED_TRACE(begin);
            WriteText("file", text);
            const auto file = FileMapping::CreateReadOnly(PathOf("file"));
            ASSERT_NE(file, nullptr);
            const NonOwnedMapping part(file->GetMapping() + begin, file->GetSize() - begin, nullptr,
                                       true);
            EXPECT_TRUE(write(folder_.fd, "file", part));
            EXPECT_TRUE(ReadText("file") == text.substr(begin));
        }
    }
}

TEST_F(MappingTest, ReplaceFileLeavesTheOldFileToItsReaders) {
    WriteText("file", "old contents");
    ASSERT_EQ(::chmod(PathOf("file").c_str(), 0640), 0);
    ASSERT_EQ(::link(PathOf("file").c_str(), PathOf("other").c_str()), 0);
    ASSERT_TRUE(::geteuid() != 0 || ::chown(PathOf("file").c_str(), 65534, 65533) == 0);
    const struct stat old = StatusOf("file");
    const auto reader = FileMapping::CreateReadOnly(PathOf("file"));
    ASSERT_NE(reader, nullptr);

    EXPECT_TRUE(ReplaceFile(folder_.fd, "file", DataMapping("new"s)));
    EXPECT_EQ(ReadText("file"), "new");
    EXPECT_EQ(StatusOf("file").st_mode & 07777, 0640u);
    EXPECT_EQ(StatusOf("file").st_uid, old.st_uid);
    EXPECT_EQ(StatusOf("file").st_gid, old.st_gid);
    EXPECT_EQ(TextOf(*reader), "old contents");
    EXPECT_EQ(ReadText("other"), "old contents");

    EXPECT_TRUE(ReplaceFile(folder_.fd, "file", DataMapping(""s)));
    EXPECT_EQ(StatusOf("file").st_size, 0);
    EXPECT_TRUE(ReplaceFile(folder_.fd, PathOf("made").c_str(), DataMapping("made"s)));
    EXPECT_EQ(ReadText("made"), "made");

    ASSERT_EQ(::symlink("other", PathOf("link").c_str()), 0);
    EXPECT_TRUE(ReplaceFile(folder_.fd, "link", DataMapping("no link"s)));
    EXPECT_TRUE(S_ISREG(StatusOf("link").st_mode));
    EXPECT_EQ(ReadText("other"), "old contents");
    EXPECT_EQ(testing::NamesIn(folder_.fd).size(), 4u);
}

TEST_F(MappingTest, ReplaceFileNeedsAFolderToSyncAndAFileToWriteTo) {
    const struct {
        mode_t folder;
        mode_t file;
        bool replaced;
    } cases[] = {{0333, 0666, false}, {0777, 0444, false}, {0777, 0666, true}};
    WriteText("file", "old");
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        ASSERT_EQ(::chmod(PathOf("file").c_str(), c.file), 0);
        ASSERT_EQ(::fchmod(folder_.fd.get(), c.folder), 0);
        EXPECT_TRUE(testing::PassesInChild([&] {
            ASSERT_TRUE(::geteuid() != 0 || ::seteuid(65534) == 0);
            EXPECT_EQ(ReplaceFile(folder_.fd, "file", DataMapping("new"s)), c.replaced);
        }));
        EXPECT_EQ(ReadText("file"), c.replaced ? "new" : "old");
        EXPECT_EQ(testing::NamesIn(folder_.fd).size(), 1u);
    }
}

TEST_F(MappingTest, ReadersSeeTheOldOrTheNewContents) {
    const std::string texts[] = {std::string(3 * kPage, 'a'), std::string(5 * kPage, 'b')};
    ASSERT_TRUE(ReplaceFile(folder_.fd, "file", DataMapping(texts[0])));
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (int round = 0; round < 50; ++round)
            EXPECT_TRUE(ReplaceFile(folder_.fd, "file", DataMapping(texts[round % 2])));
        done = true;
    });

    while (!done) {
        const auto file = FileMapping::CreateReadOnly(folder_.fd, "file");
        const std::string text = file ? TextOf(*file) : "";
        EXPECT_TRUE(text == texts[0] || text == texts[1]) << text.size();
    }
    writer.join();
    EXPECT_EQ(testing::NamesIn(folder_.fd).size(), 1u);
}

TEST_F(MappingTest, WhatCanNotBeWrittenIsRefusedAndLeaksNothing) {
    WriteText("file", "contents");
    ASSERT_TRUE(OpenDirectory(folder_.fd, "directory", true, FilePermission::Read).is_valid());
    ASSERT_EQ(::mkfifo(PathOf("pipe").c_str(), 0600), 0);
    const UniqueFD invalid;
    const DataMapping data("data"s);
    const std::size_t open = testing::OpenDescriptors();

    for (const auto& write : {WriteAtomically, ReplaceFile}) {
        for (const std::string& name :
             {""s, "."s, ".."s, "/"s, "directory"s, "missing/file"s, "file/"s, "file/x"s, "pipe"s,
              std::string(300, 'x'), std::string(5000, '/') + "x"}) {
            SCOPED_TRACE(name);
            EXPECT_FALSE(write(folder_.fd, name.c_str(), data));
        }
        EXPECT_FALSE(write(folder_.fd, nullptr, data));
        EXPECT_FALSE(write(invalid, "file", data));
        EXPECT_FALSE(write(folder_.fd, "file", NonOwnedMapping(nullptr, 4, nullptr, false)));
    }
    EXPECT_FALSE(WriteAtomically(folder_.fd, "/dev/zero", data));
    EXPECT_EQ(testing::OpenDescriptors(), open);
    EXPECT_EQ(ReadText("file"), "contents");
    EXPECT_TRUE(S_ISFIFO(StatusOf("pipe").st_mode));
    EXPECT_EQ(testing::NamesIn(folder_.fd).size(), 3u);
}

TEST_F(MappingTest, DataThatShrankMeanwhileIsNoSignal) {
    WriteText("source", std::string(3 * kPage, 's'));
    WriteText("file", "old contents");
    const auto source = FileMapping::CreateReadOnly(PathOf("source"));
    ASSERT_NE(source, nullptr);
    WriteText("source", "");

    EXPECT_FALSE(WriteAtomically(folder_.fd, "file", *source));
    EXPECT_FALSE(ReplaceFile(folder_.fd, "file", *source));
    EXPECT_EQ(ReadText("file"), "old contents");
    EXPECT_EQ(testing::NamesIn(folder_.fd).size(), 2u);
}

struct FailureCase {
    testing::RefusedCall refused;
    bool written;
    std::string contents;  // after the writing in place
    bool replaced;
};

TEST_F(MappingTest, FailingDiskIsReportedAndSparesWhatItCan) {
    const FailureCase cases[] = {
        {{SYS_fallocate, ENOSPC}, false, "old contents", true},
        {{SYS_fallocate, EOPNOTSUPP}, true, "the contents that are new", true},
        {{SYS_pwrite64, ENOSPC}, false, "old contents", false},
        {{SYS_fsync, EIO}, false, "the contents that are new", false},
        {{SYS_renameat, EIO}, true, "the contents that are new", false},
    };
    for (const FailureCase& c : cases) {
        SCOPED_TRACE(&c - cases);
        WriteText("written", "old contents");
        WriteText("replaced", "old contents");
        EXPECT_TRUE(testing::PassesInChild([&] {
            const DataMapping data("the contents that are new"s);
            testing::RefuseCalls({c.refused});
            EXPECT_EQ(WriteAtomically(folder_.fd, "written", data), c.written);
            EXPECT_EQ(ReplaceFile(folder_.fd, "replaced", data), c.replaced);
        }));
        EXPECT_EQ(ReadText("written"), c.contents);
        EXPECT_EQ(ReadText("replaced"), c.replaced ? "the contents that are new" : "old contents");
        EXPECT_EQ(testing::NamesIn(folder_.fd).size(), 2u);
    }
}

}  // namespace
}  // namespace kiv
