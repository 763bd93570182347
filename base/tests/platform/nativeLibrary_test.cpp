#include "kiv/base/nativeLibrary.h"

#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "kiv/base/file.h"
#include "kiv/base/mapping.h"
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
        library.reset();

        EXPECT_EQ(gone, 0);
        ASSERT_NE(answer.GetMapping(), nullptr);
        EXPECT_EQ(answer.GetFunction<int()>()(), 42);
        ASSERT_NE(data.GetMapping(), nullptr);
        EXPECT_STREQ(reinterpret_cast<const char*>(data.GetMapping()), "of the module");
        EXPECT_EQ(data.GetSize(), 0u);
        EXPECT_TRUE(data.IsDontNeedSafe());
    }
    EXPECT_EQ(gone, 1);
}

TEST(NativeLibraryTest, SymbolIsAlsoFoundBehindAnUnderscore) {
    const RefPtr<NativeLibrary> library = NativeLibrary::Create(KIV_TEST_MODULE);
    ASSERT_NE(library, nullptr);

    const SymbolMapping prefixed(library, "KivTestPrefixed");
    ASSERT_NE(prefixed.GetMapping(), nullptr);
    EXPECT_EQ(prefixed.GetFunction<int()>()(), 7);
    for (const char* missing : {"KivTestNothing", "", static_cast<const char*>(nullptr)})
        EXPECT_EQ(SymbolMapping(library, missing).GetFunction<void()>(), nullptr);
    EXPECT_EQ(SymbolMapping(nullptr, "KivTestAnswer").GetMapping(), nullptr);
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
}

TEST(NativeLibraryTest, WhatIsNoLibraryGivesNullAndLeaksNothing) {
    const ScopedTemporaryDirectory folder;
    const std::string pipe = folder.path + "/pipe.so";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const std::string text = folder.path + "/text.so";
    std::ofstream(text) << "no library";
    const std::string empty = folder.path + "/empty.so";
    std::ofstream{empty};
    const std::string loop = folder.path + "/loop.so";
    ASSERT_EQ(::symlink("loop.so", loop.c_str()), 0);
    const std::string long_path = "/" + std::string(5000, 'x');
    const std::size_t open = testing::OpenDescriptors();

    for (const char* path : {static_cast<const char*>(nullptr), "", "/", "/missing.so", "missing",
                             "/dev/zero", folder.path.c_str(), pipe.c_str(), text.c_str(),
                             empty.c_str(), loop.c_str(), long_path.c_str(), "%s%n{}"}) {
        SCOPED_TRACE(path ? path : "null");
        EXPECT_EQ(NativeLibrary::Create(path), nullptr);
    }
    EXPECT_EQ(testing::OpenDescriptors(), open);
}

TEST(NativeLibraryTest, LibraryThatWasCutIsRefused) {
    std::ifstream file(KIV_TEST_MODULE, std::ios::binary);
    const std::string whole{std::istreambuf_iterator<char>(file), {}};
    const ScopedTemporaryDirectory folder;
    const std::string path = folder.path + "/cut.so";

    // What the loader maps ends somewhere; behind it lie symbols for debuggers, which nobody
    // misses.
    bool loads = false;
    for (std::size_t size = 0; size <= whole.size(); size += 61) {
        UnlinkFile(path.c_str());
        std::ofstream(path, std::ios::binary) << whole.substr(0, size);
        const RefPtr<NativeLibrary> library = NativeLibrary::Create(path.c_str());
        EXPECT_TRUE(library || !loads) << size;
        loads = library != nullptr;
        if (loads) {
            EXPECT_EQ(SymbolMapping(library, "KivTestAnswer").GetFunction<int()>()(), 42);
        }
    }
    EXPECT_TRUE(loads);
}

}  // namespace
}  // namespace kiv
