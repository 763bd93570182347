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
#include "support/executableFolder.h"
#include "support/files.h"

// Found in the program because it is exported, and by its address because of the name.
extern "C" __attribute__((visibility("default"))) int KivTestOfTheProgram() {
    return 3;
}

namespace kiv {
namespace {

// Has the module add to `gone` when it is unloaded.
void Watch(const RefPtr<NativeLibrary>& library, int* gone) {
    const SymbolMapping place(library, "kivTestGone");
    ASSERT_NE(place.GetMapping(), nullptr);
    *reinterpret_cast<int**>(const_cast<uint8*>(place.GetMapping())) = gone;
}

TEST(NativeLibraryTest, SymbolsAreFoundAndKeepTheLibrary) {
    int gone = 0;
    RefPtr<NativeLibrary> library = NativeLibrary::Create(KIV_TEST_MODULE);
    ASSERT_NE(library, nullptr);
    Watch(library, &gone);
    {
        const SymbolMapping answer(library, "KivTestAnswer");
        const SymbolMapping data(library, "kivTestData");
        const SymbolMapping of_thread(library, "kivTestOfThread");
        library.reset();

        EXPECT_EQ(gone, 0);
        ASSERT_NE(answer.GetMapping(), nullptr);
        EXPECT_EQ(answer.GetFunction<int()>()(), 42);
        ASSERT_NE(data.GetMapping(), nullptr);
        ASSERT_NE(of_thread.GetMapping(), nullptr);
        EXPECT_STREQ(reinterpret_cast<const char*>(data.GetMapping()), "of the module");
        EXPECT_EQ(*reinterpret_cast<const int*>(of_thread.GetMapping()), 5);
        EXPECT_EQ(data.GetSize(), 0u);
        EXPECT_TRUE(data.IsDontNeedSafe());
    }
    EXPECT_EQ(gone, 1);
}

TEST(NativeLibraryTest, OnlyItsOwnSymbolsAreFoundAlsoBehindAnUnderscore) {
    void* const handle = ::dlopen(KIV_TEST_MODULE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(handle, nullptr);
    const auto library = NativeLibrary::CreateWithHandle(handle, true);
    for (const char* of_dependency : {"abs", "labs"})
        EXPECT_NE(::dlsym(handle, of_dependency), nullptr);

    const SymbolMapping prefixed(library, "abs");
    ASSERT_NE(prefixed.GetMapping(), nullptr);
    EXPECT_EQ(prefixed.GetFunction<int()>()(), 7);
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

    Watch(NativeLibrary::CreateWithHandle(handle, false), &gone);
    EXPECT_EQ(gone, 0);
    NativeLibrary::CreateWithHandle(handle, true).reset();
    EXPECT_EQ(gone, 1);
}

TEST(NativeLibraryTest, ProgramIsFoundAndNeverUnloaded) {
    NativeLibrary::CreateForCurrentProcess().reset();
    const SymbolMapping own(NativeLibrary::CreateForCurrentProcess(), "KivTestOfTheProgram");
    ASSERT_NE(own.GetMapping(), nullptr);
    EXPECT_EQ(own.GetFunction<int()>()(), 3);
    const SymbolMapping linked(NativeLibrary::CreateForCurrentProcess(), "abs");
    EXPECT_NE(linked.GetMapping(), nullptr);
}

TEST(NativeLibraryTest, WhatIsNoLibraryGivesNullAndLeaksNothing) {
    const ScopedTemporaryDirectory folder;
    testing::WriteFile(folder.path + "/text.so", "no library");
    testing::WriteFile(folder.path + "/empty.so", "");
    ASSERT_EQ(::mkfifo((folder.path + "/pipe.so").c_str(), 0600), 0);
    ASSERT_EQ(::symlink("loop.so", (folder.path + "/loop.so").c_str()), 0);
    // A library, though not the one that the loader would take it for.
    ASSERT_TRUE(OpenDirectory(folder.fd, "$ORIGIN", true, FilePermission::Read).is_valid());
    testing::WriteFile(folder.path + "/$ORIGIN/libkivbase.so", testing::ReadFile(KIV_TEST_MODULE));
    const std::string long_path = "/" + std::string(5000, 'x');

    EXPECT_TRUE(testing::PassesInChild([&] {
        ASSERT_EQ(::chdir(folder.path.c_str()), 0);
        const std::size_t open = testing::OpenDescriptors();
        for (const char* path :
             {static_cast<const char*>(nullptr), "", "/", "./", "/missing.so", "missing", "text.so",
              "./text.so", "./empty.so", "./pipe.so", "./loop.so", "$ORIGIN/libkivbase.so",
              "/dev/zero", long_path.c_str(), "%s%n{}"}) {
            SCOPED_TRACE(path ? path : "null");
            EXPECT_EQ(NativeLibrary::Create(path), nullptr);
        }
        EXPECT_EQ(testing::OpenDescriptors(), open);
    }));
}

class NativeLibraryFileTest : public testing::ExecutableFolderTest {
protected:
    RefPtr<NativeLibrary> Load(const std::string& contents) const {
        UnlinkFile(path_.c_str());  // and not changed, in case that it is still loaded
        testing::WriteFile(path_, contents);
        return NativeLibrary::Create(path_.c_str());
    }

    const std::string path_ = folder_.path + "/library.so";
    const std::string whole_ = testing::ReadFile(KIV_TEST_MODULE);
};

TEST_F(NativeLibraryFileTest, LibraryThatWasCutIsRefused) {
    // What the loader maps ends somewhere; behind it lie symbols for debuggers, which nobody
    // misses.
    bool loads = false;
    for (std::size_t size = 0; size <= whole_.size(); size += 61) {
        const RefPtr<NativeLibrary> library = Load(whole_.substr(0, size));
        EXPECT_TRUE(library || !loads) << size;
        loads = library != nullptr;
        if (loads) {
            EXPECT_EQ(SymbolMapping(library, "KivTestAnswer").GetFunction<int()>()(), 42);
        }
    }
    EXPECT_TRUE(loads);
}

TEST_F(NativeLibraryFileTest, ForgedProgramHeadersAreRefused) {
    ElfW(Ehdr) header;
    std::memcpy(&header, whole_.data(), sizeof(header));
    std::vector<ElfW(Phdr)> segments(header.e_phnum);
    std::memcpy(segments.data(), &whole_[header.e_phoff], header.e_phnum * sizeof(segments[0]));
    header.e_phoff = (whole_.size() + 63) / 64 * 64;
    // The headers in a table of their own behind the file, and behind them some of no meaning.
    const auto load = [&](unsigned count) {
        header.e_phnum = static_cast<decltype(header.e_phnum)>(count);
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
