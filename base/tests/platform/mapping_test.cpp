#include "kiv/base/mapping.h"

#include <cerrno>
#include <future>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "support/childProcess.h"
#include "support/files.h"

namespace kiv {
namespace {

using namespace std::string_literals;
using namespace ::testing;
using namespace testing;
using enum FileMapping::Protection;

constexpr uint64 kPage = 4096;

std::string TextOf(const Mapping& mapping) {
    return {reinterpret_cast<const char*>(mapping.GetMapping()), mapping.GetSize()};
}

class MappingTest : public FolderTest {
protected:
    struct stat StatusOf(const std::string& name) const {
        struct stat status {};
        EXPECT_EQ(::lstat(PathOf(name).c_str(), &status), 0) << name;
        return status;
    }
};

TEST_F(MappingTest, ProtectionSaysWhatTheViewIsGoodFor) {
    Put("file", "contents");
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
        FileMapping mapping(OpenFile(folder_.fd, "file", false, c.permission), c.protection);
        EXPECT_EQ(mapping.IsValid(), c.valid);
        EXPECT_EQ(mapping.GetMutableMapping(), c.writable ? mapping.GetMapping() : nullptr);
        EXPECT_EQ(mapping.IsDontNeedSafe(), !c.writable);
        EXPECT_EQ(TextOf(mapping), c.valid ? "contents" : "");
    }

    FileMapping writable(OpenFile(folder_.fd, "file", false, FilePermission::ReadWrite), {Write});
    writable.GetMutableMapping()[0] = 'C';
    EXPECT_EQ(TextIn("file"), "Contents");
}

TEST_F(MappingTest, FileIsMappedByPathAndOutlivesItsName) {
    Put("file", "contents");
    Put("empty", "");
    const std::size_t open = OpenDescriptors();

    const auto by_path = FileMapping::CreateReadOnly(PathOf("file"));
    const auto by_base = FileMapping::CreateReadOnly(folder_.fd, "file");
    const auto empty = FileMapping::CreateReadExecute(PathOf("empty"));
    EXPECT_EQ(OpenDescriptors(), open);
    const auto base_itself = FileMapping::CreateReadOnly(OpenFileReadOnly(folder_.fd, "file"), ""s);
    EXPECT_TRUE(UnlinkFile(folder_.fd, "file"));

    for (const auto* mapping : {&by_path, &by_base, &base_itself}) {
        ASSERT_NE(*mapping, nullptr);
        EXPECT_EQ(TextOf(**mapping), "contents");
    }
    ASSERT_NE(empty, nullptr);
    EXPECT_TRUE(empty->IsValid());
    EXPECT_EQ(empty->GetSize(), 0u);
    EXPECT_EQ(empty->GetMapping(), nullptr);
}

TEST_F(MappingTest, WhatIsNoPlainFileIsNeitherMappedNorWrittenAndLeaksNothing) {
    Put("file", "contents");
    Link("loop", "loop");
    ASSERT_EQ(::mkfifo(PathOf("pipe").c_str(), 0600), 0);
    const UniqueFD invalid;
    const DataMapping data("data"s);
    const std::size_t open = OpenDescriptors();

    std::vector<std::string> neither = {"", ".", "/", "pipe", "file/", "file/x", "missing/x"};
    neither.push_back(std::string(300, 'x'));
    neither.push_back(std::string(5000, '/') + "x");
    std::vector<std::string> unmapped = {"missing", "loop", "file\0"s, "file\0/x"s, "/dev/zero"};
    unmapped.insert(unmapped.end(), neither.begin(), neither.end());
    for (const std::string& name : unmapped) {
        SCOPED_TRACE(name);
        EXPECT_EQ(FileMapping::CreateReadOnly(name[0] == '/' ? name : PathOf(name)), nullptr);
        EXPECT_EQ(FileMapping::CreateReadExecute(folder_.fd, name), nullptr);
    }
    EXPECT_EQ(FileMapping::CreateReadOnly(""), nullptr);
    for (const char* name : {"", "file"})
        EXPECT_EQ(FileMapping::CreateReadOnly(invalid, name), nullptr);

    for (const auto& write : {WriteAtomically, ReplaceFile}) {
        for (const std::string& name : neither)
            EXPECT_FALSE(write(folder_.fd, name.c_str(), data)) << name;
        EXPECT_FALSE(write(folder_.fd, nullptr, data));
        EXPECT_FALSE(write(invalid, "file", data));
        EXPECT_FALSE(write(folder_.fd, "file", NonOwnedMapping(nullptr, 4, nullptr, false)));
    }
    EXPECT_FALSE(WriteAtomically(folder_.fd, "/dev/zero", data));

    EXPECT_EQ(OpenDescriptors(), open);
    EXPECT_EQ(TextIn("file"), "contents");
    EXPECT_TRUE(S_ISFIFO(StatusOf("pipe").st_mode));
    EXPECT_THAT(Names(), ElementsAre("file", "loop", "pipe"));
}

TEST_F(MappingTest, SizeHasAllOfItsBits) {
    constexpr uint64 kSize = (uint64{5} << 30) + 1;
    const UniqueFD file = OpenFile(folder_.fd, "big", true, FilePermission::ReadWrite);
    ASSERT_EQ(::pwrite(file.get(), "x", 1, kSize - 1), 1);

    const auto mapping = FileMapping::CreateReadOnly(folder_.fd, "big");
    ASSERT_NE(mapping, nullptr);
    EXPECT_EQ(mapping->GetSize(), kSize);
    EXPECT_EQ(mapping->GetMapping()[kSize - 1], 'x');
}

TEST_F(MappingTest, CodeIsReadAndRuns) {
    if (!MayRunCodeIn(folder_.fd))
        GTEST_SKIP() << "no code may be run from files in " << folder_.path;
    const std::string code = "\xB8\x2A\0\0\0\xC3"s;  // mov eax, 42; ret
    Put("code", code);
    for (const auto& mapping : {FileMapping::CreateReadExecute(PathOf("code")),
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
    EXPECT_FALSE(DataMapping(""s).IsDontNeedSafe());
}

TEST(MallocMappingTest, BlockHasOneOwner) {
    MallocMapping copy = MallocMapping::Copy("text", 4);
    MallocMapping moved(std::move(copy));
    EXPECT_EQ(TextOf(moved), "text");
    const MallocMapping taken(moved.Release(), 4);  // frees it
    EXPECT_EQ(TextOf(taken), "text");
    for (const MallocMapping* left : {&copy, &moved}) {
        EXPECT_EQ(left->GetSize(), 0u);
        EXPECT_EQ(left->GetMapping(), nullptr);
    }
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
    Put("file", "");
    const auto inode = StatusOf("file").st_ino;
    for (const auto& old : {""s, "old"s, "the old contents"s}) {
        Put("file", old);
        EXPECT_TRUE(WriteAtomically(folder_.fd, "file", DataMapping("contents"s)));
        EXPECT_EQ(TextIn("file"), "contents");
    }
    EXPECT_TRUE(WriteAtomically(folder_.fd, "new", DataMapping("\0"s)));
    EXPECT_EQ(TextIn("new"), "\0"s);
    EXPECT_FALSE(WriteAtomically(folder_.fd, "file", DataMapping(""s)));
    EXPECT_EQ(TextIn("file"), "");
    EXPECT_EQ(StatusOf("file").st_ino, inode);
    EXPECT_THAT(Names(), ElementsAre("file", "new"));
}

TEST_F(MappingTest, FileIsWrittenFromAViewOfItself) {
    std::string text;
    while (text.size() < 5 * kPage)
        text += "a text whose length is odd, ";
    for (uint64 begin : {uint64{0}, uint64{1}, uint64{63}, 2 * kPage, 4 * kPage + 5}) {
        for (const auto& write : {WriteAtomically, ReplaceFile}) {
            Put("file", text);
            const auto file = FileMapping::CreateReadOnly(PathOf("file"));
            ASSERT_NE(file, nullptr);
            const NonOwnedMapping part(file->GetMapping() + begin, file->GetSize() - begin, nullptr,
                                       true);
            EXPECT_TRUE(write(folder_.fd, "file", part));
            EXPECT_TRUE(TextIn("file") == text.substr(begin)) << begin;
        }
    }
}

TEST_F(MappingTest, ReplaceFileLeavesTheOldFileToItsReaders) {
    Put("file", "old contents");
    ASSERT_EQ(::chmod(PathOf("file").c_str(), 0640), 0);
    ASSERT_EQ(::link(PathOf("file").c_str(), PathOf("other").c_str()), 0);
    ASSERT_TRUE(::geteuid() != 0 || ::chown(PathOf("file").c_str(), 65534, 65533) == 0);
    const struct stat old = StatusOf("file");
    const auto reader = FileMapping::CreateReadOnly(PathOf("file"));
    ASSERT_NE(reader, nullptr);

    for (const std::string& text : {"new"s, ""s}) {
        EXPECT_TRUE(ReplaceFile(folder_.fd, "file", DataMapping(text)));
        EXPECT_EQ(TextIn("file"), text);
    }
    EXPECT_EQ(StatusOf("file").st_mode & 07777, 0640u);
    EXPECT_EQ(StatusOf("file").st_uid, old.st_uid);
    EXPECT_EQ(StatusOf("file").st_gid, old.st_gid);
    EXPECT_EQ(TextOf(*reader), "old contents");

    EXPECT_TRUE(ReplaceFile(folder_.fd, PathOf("made").c_str(), DataMapping("made"s)));
    EXPECT_EQ(TextIn("made"), "made");
    Link("other", "link");
    EXPECT_TRUE(ReplaceFile(folder_.fd, "link", DataMapping("no link"s)));
    EXPECT_TRUE(S_ISREG(StatusOf("link").st_mode));
    EXPECT_EQ(TextIn("other"), "old contents");
    EXPECT_THAT(Names(), ElementsAre("file", "link", "made", "other"));
}

TEST_F(MappingTest, ReplaceFileNeedsAFolderToSyncAndAFileToWriteTo) {
    const struct {
        mode_t folder, file;
        bool replaced;
    } cases[] = {{0333, 0666, false}, {0777, 0444, false}, {0777, 0666, true}};
    Put("file", "old");
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        ASSERT_EQ(::chmod(PathOf("file").c_str(), c.file), 0);
        ASSERT_EQ(::fchmod(folder_.fd.get(), c.folder), 0);
        EXPECT_TRUE(PassesInChild([&] {
            GiveUpRoot();
            EXPECT_EQ(ReplaceFile(folder_.fd, "file", DataMapping("new"s)), c.replaced);
        }));
        EXPECT_EQ(TextIn("file"), c.replaced ? "new" : "old");
        EXPECT_THAT(Names(), ElementsAre("file"));
    }
}

TEST_F(MappingTest, ReadersSeeTheOldOrTheNewContents) {
    const std::string texts[] = {std::string(3 * kPage, 'a'), std::string(5 * kPage, 'b')};
    ASSERT_TRUE(ReplaceFile(folder_.fd, "file", DataMapping(texts[0])));
    const auto writer = std::async(std::launch::async, [&] {
        for (int round = 0; round < 50; ++round)
            EXPECT_TRUE(ReplaceFile(folder_.fd, "file", DataMapping(texts[round % 2])));
    });
    while (writer.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
        const auto file = FileMapping::CreateReadOnly(folder_.fd, "file");
        const std::string text = file ? TextOf(*file) : "";
        EXPECT_TRUE(text == texts[0] || text == texts[1]) << text.size();
    }
    EXPECT_THAT(Names(), ElementsAre("file"));
}

TEST_F(MappingTest, DataThatShrankMeanwhileIsNoSignal) {
    Put("source", std::string(3 * kPage, 's'));
    Put("file", "old contents");
    const auto source = FileMapping::CreateReadOnly(PathOf("source"));
    ASSERT_NE(source, nullptr);
    Put("source", "");

    for (const auto& write : {WriteAtomically, ReplaceFile})
        EXPECT_FALSE(write(folder_.fd, "file", *source));
    EXPECT_EQ(TextIn("file"), "old contents");
    EXPECT_THAT(Names(), ElementsAre("file", "source"));
}

TEST_F(MappingTest, FailingDiskIsReportedAndSparesWhatItCan) {
    const std::string before = "old contents";
    const std::string after = "the contents that are new";
    const struct {
        RefusedCall refused;
        bool written;
        const std::string& contents;  // after the writing in place
        bool replaced;
    } cases[] = {
        {{SYS_fallocate, ENOSPC}, false, before, true},
        {{SYS_fallocate, EOPNOTSUPP}, true, after, true},
        {{SYS_pwrite64, ENOSPC}, false, before, false},
        {{SYS_fsync, EIO}, false, after, false},
        {{SYS_renameat, EIO}, true, after, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        Put("written", before);
        Put("replaced", before);
        EXPECT_TRUE(PassesInChild([&] {
            RefuseCalls({c.refused});
            EXPECT_EQ(WriteAtomically(folder_.fd, "written", DataMapping(after)), c.written);
            EXPECT_EQ(ReplaceFile(folder_.fd, "replaced", DataMapping(after)), c.replaced);
        }));
        EXPECT_EQ(TextIn("written"), c.contents);
        EXPECT_EQ(TextIn("replaced"), c.replaced ? after : before);
        EXPECT_THAT(Names(), ElementsAre("replaced", "written"));
    }
}

}  // namespace
}  // namespace kiv
