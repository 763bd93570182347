#include "kiv/base/nativeLibrary.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kiv/base/file.h"
#include "kiv/base/mapping.h"
#include "support/childProcess.h"
#include "support/files.h"

// Found in the program because it is exported, and by its address because of the name.
extern "C" __attribute__((visibility("default"))) int KivTestOfTheProgram() {
    return 3;
}

namespace kiv {
namespace {

// What the symbol stands for, which has to be there.
template <class T>
T& Found(const RefPtr<NativeLibrary>& library, const char* name) {
    const SymbolMapping symbol(library, name);
    if (symbol.GetMapping() == nullptr)
        throw std::runtime_error(name);
    return *reinterpret_cast<T*>(const_cast<uint8*>(symbol.GetMapping()));
}

TEST(NativeLibraryTest, SymbolsAreFoundAndKeepTheLibrary) {
    int gone = 0;
    RefPtr<NativeLibrary> library = NativeLibrary::Create(KIV_TEST_MODULE);
    ASSERT_NE(library, nullptr);
    Found<int*>(library, "kivTestGone") = &gone;  // the module adds to it when it is unloaded
    EXPECT_STREQ(&Found<const char>(library, "kivTestData"), "of the module");
    EXPECT_EQ(Found<int>(library, "kivTestOfThread"), 5);
    {
        const SymbolMapping answer(library, "KivTestAnswer");
        library.reset();

        EXPECT_EQ(gone, 0);
        EXPECT_EQ(answer.GetFunction<int()>()(), 42);
        EXPECT_EQ(answer.GetSize(), 0u);
        EXPECT_TRUE(answer.IsDontNeedSafe());
    }
    EXPECT_EQ(gone, 1);
}

TEST(NativeLibraryTest, OnlyItsOwnSymbolsAreFoundAlsoBehindAnUnderscore) {
    void* const handle = ::dlopen(KIV_TEST_MODULE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(handle, nullptr);
    const auto library = NativeLibrary::CreateWithHandle(handle, true);
    for (const char* of_dependency : {"abs", "labs"})
        EXPECT_NE(::dlsym(handle, of_dependency), nullptr);

    EXPECT_EQ(Found<int()>(library, "abs")(), 7);
    for (const char* missing : {"labs", "KivTestNothing", "", static_cast<const char*>(nullptr)})
        EXPECT_EQ(SymbolMapping(library, missing).GetFunction<void()>(), nullptr);
    EXPECT_EQ(SymbolMapping(nullptr, "KivTestAnswer").GetMapping(), nullptr);

    // The kernel may have the second one.
    for (const char* of_c : {"labs", "time"})
        EXPECT_NE(SymbolMapping(NativeLibrary::Create("libc.so.6"), of_c).GetMapping(), nullptr);
}

TEST(NativeLibraryTest, HandleIsClosedOnlyIfItWasHandedOver) {
    EXPECT_EQ(NativeLibrary::CreateWithHandle(nullptr, true), nullptr);
    int gone = 0;
    void* const handle = ::dlopen(KIV_TEST_MODULE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(handle, nullptr);

    Found<int*>(NativeLibrary::CreateWithHandle(handle, false), "kivTestGone") = &gone;
    EXPECT_EQ(gone, 0);
    NativeLibrary::CreateWithHandle(handle, true).reset();
    EXPECT_EQ(gone, 1);
}

TEST(NativeLibraryTest, ProgramIsFoundAndNeverUnloaded) {
    NativeLibrary::CreateForCurrentProcess().reset();
    const auto program = NativeLibrary::CreateForCurrentProcess();
    EXPECT_EQ(Found<int()>(program, "KivTestOfTheProgram")(), 3);
    EXPECT_NE(SymbolMapping(program, "abs").GetMapping(), nullptr);  // it was linked with that
}

class NativeLibraryFileTest : public testing::FolderTest {
protected:
    RefPtr<NativeLibrary> Load(const std::string& contents) const {
        UnlinkFile(folder_.fd, "library.so");  // and not changed, in case that it is still loaded
        Put("library.so", contents);
        return NativeLibrary::Create(PathOf("library.so").c_str());
    }

    const std::string whole_ = testing::ReadFile(KIV_TEST_MODULE);
};

TEST_F(NativeLibraryFileTest, WhatIsNoLibraryGivesNullAndLeaksNothing) {
    Put("text.so", "no library");
    ASSERT_EQ(::mkfifo(PathOf("pipe.so").c_str(), 0600), 0);
    Link("loop.so", "loop.so");
    // A library, though not the one that the loader would take it for.
    ASSERT_TRUE(OpenDirectory(folder_.fd, "$ORIGIN", true, FilePermission::Read).is_valid());
    Put("$ORIGIN/libkivbase.so", whole_);
    const std::string long_path = "/" + std::string(5000, 'x');

    EXPECT_TRUE(testing::PassesInChild([&] {
        ASSERT_EQ(::chdir(folder_.path.c_str()), 0);
        const std::size_t open = testing::OpenDescriptors();
        for (const char* path : {static_cast<const char*>(nullptr), "", "./", "/missing.so",
                                 "missing", "text.so", "./text.so", "./pipe.so", "./loop.so",
                                 "$ORIGIN/libkivbase.so", "/dev/zero", long_path.c_str()}) {
            SCOPED_TRACE(path ? path : "null");
            EXPECT_EQ(NativeLibrary::Create(path), nullptr);
        }
        EXPECT_EQ(testing::OpenDescriptors(), open);
    }));
}

TEST_F(NativeLibraryFileTest, LibraryThatWasCutIsRefused) {
    if (!testing::MayRunCodeIn(folder_.fd))
        GTEST_SKIP() << "no code may be run from files in " << folder_.path;
    // What the loader maps ends somewhere; behind it lie symbols for debuggers, which nobody
    // misses.
    bool loads = false;
    for (std::size_t size = 0; size <= whole_.size(); size += 61) {
        const RefPtr<NativeLibrary> library = Load(whole_.substr(0, size));
        EXPECT_TRUE(library || !loads) << size;
        loads = library != nullptr;
        if (loads) {
            EXPECT_EQ(Found<int()>(library, "KivTestAnswer")(), 42);
        }
    }
    EXPECT_TRUE(loads);
}

TEST_F(NativeLibraryFileTest, ForgedProgramHeadersAreRefused) {
    if (!testing::MayRunCodeIn(folder_.fd))
        GTEST_SKIP() << "no code may be run from files in " << folder_.path;
    ElfW(Ehdr) header;
    std::memcpy(&header, whole_.data(), sizeof(header));
    std::vector<ElfW(Phdr)> segments(header.e_phnum);
    std::memcpy(segments.data(), &whole_[header.e_phoff], header.e_phnum * sizeof(segments[0]));
    header.e_phoff = (whole_.size() + 63) / 64 * 64;
    // The headers in a table of their own behind the file, and behind them some of no meaning.
    const auto load = [&](ElfW(Half) count) {
        header.e_phnum = count;
        ElfW(Phdr) none{};
        none.p_offset = none.p_filesz = ~uint64{0};
        segments.resize(count, none);
        std::string file = whole_;
        std::memcpy(file.data(), &header, sizeof(header));
        file.resize(header.e_phoff);
        file.append(reinterpret_cast<const char*>(segments.data()), count * sizeof(none));
        return Load(file);
    };

    EXPECT_NE(load(512), nullptr);
    EXPECT_EQ(load(513), nullptr);
    const auto loaded = std::find_if(segments.begin(), segments.end(),
                                     [](const auto& s) { return s.p_type == PT_LOAD; });
    ASSERT_NE(loaded, segments.end());
    loaded->p_memsz = loaded->p_filesz - 1;
    EXPECT_EQ(load(512), nullptr);
}

}  // namespace
}  // namespace kiv
