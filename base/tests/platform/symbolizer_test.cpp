#include "kiv/base/symbolizer.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include "kiv/base/mapping.h"
#include "platform/symbolName.h"
#include "support/childProcess.h"
#include "support/files.h"

// The thread sanitizer can't see how Abseil, which it did not build, hands memory from thread to
// thread.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions() {
    return "called_from_lib:libabsl_symbolize.so";
}

namespace symbolizer_test {

#define KIV_TEN_TIMES(text) text text text text text text text text text text

// Exported, and so found in a stripped program too.
#define KIV_TEST_FUNCTION [[gnu::noinline, gnu::visibility("default")]]

KIV_TEST_FUNCTION void Plain(int) {
    asm volatile("nop; nop");
}
KIV_TEST_FUNCTION void LongName() asm(KIV_TEN_TIMES(KIV_TEN_TIMES(KIV_TEN_TIMES("abc"))));
void LongName() {
    asm volatile("nop");
}
// A pointer to a pointer and so on, for which the one who takes the name apart goes deep.
#define KIV_DEEP_NAME "_Z1f" KIV_TEN_TIMES(KIV_TEN_TIMES("PPP")) "v"
KIV_TEST_FUNCTION void DeepName() asm(KIV_DEEP_NAME);
void DeepName() {
    asm volatile("nop; nop; nop");
}
template <class T>
struct Box {
    KIV_TEST_FUNCTION static void Open();
};
template <class T>
void Box<T>::Open() {
    asm volatile("");
}

}  // namespace symbolizer_test

namespace kiv {
namespace {

using namespace std::string_literals;

template <class Function>
const void* AddressOf(Function* function, int offset = 0) {
    return reinterpret_cast<const char*>(function) + offset;
}

std::string NameOf(const void* address) {
    char name[4000];
    return Symbolize(address, name, sizeof(name)) ? name : "not found";
}

// Asked before main, when nobody can have initialised anything.
const std::string kNamedTooEarly = NameOf(AddressOf(&symbolizer_test::Plain));

TEST(SymbolizerTest, NameIsCutToItsRoom) {
    const std::pair<const char*, std::string> cases[] = {
        {"", "\0"s},          {"a", "\0"s},        {"abcdef", "..\0"s}, {"abcd", "...\0"s},
        {"abcde", "a...\0"s}, {"abcd", "abcd\0"s}, {"ab", "ab\0\0\0"s}};
    for (const auto& [name, expected] : cases) {
        std::string out(expected.size() + 1, '#');
        platform::CopySymbolName(name, out.data(), static_cast<int>(expected.size()));
        EXPECT_EQ(out, expected + "#") << name;
    }
}

TEST(SymbolizerTest, FunctionsAreNamedOnceItIsInitialised) {
    EXPECT_EQ(kNamedTooEarly, "not found");
    InitializeSymbolizer(nullptr);

    EXPECT_EQ(NameOf(AddressOf(&symbolizer_test::Plain)), "symbolizer_test::Plain()");
    EXPECT_EQ(NameOf(AddressOf(&symbolizer_test::Plain, 1)), "symbolizer_test::Plain()");
    EXPECT_EQ(NameOf(AddressOf(&symbolizer_test::Box<int>::Open)),
              "symbolizer_test::Box<>::Open()");
    EXPECT_EQ(NameOf(AddressOf(&InitializeSymbolizer)), "kiv::InitializeSymbolizer()");
    const std::string long_name = NameOf(AddressOf(&symbolizer_test::LongName));
    EXPECT_EQ(long_name.size(), 2000u);
    EXPECT_EQ(long_name.substr(1990), "bcabcab...");

    const SymbolMapping loaded(NativeLibrary::Create(KIV_TEST_MODULE), "KivTestAnswer");
    EXPECT_EQ(NameOf(loaded.GetMapping()), "KivTestAnswer");
}

TEST(SymbolizerTest, WhatHasNoNameOrNoRoomIsRefused) {
    InitializeSymbolizer(nullptr);
    const void* const known = AddressOf(&symbolizer_test::Plain);
    char out[4] = "###";
    for (int size : {0, -1})
        EXPECT_FALSE(Symbolize(known, out, size));
    EXPECT_FALSE(Symbolize(known, nullptr, 4));
    for (const char* unknown : std::initializer_list<const char*>{nullptr, out})
        EXPECT_FALSE(Symbolize(unknown, out, sizeof(out)));
    EXPECT_STREQ(out, "###");

    EXPECT_TRUE(Symbolize(known, out, 1));
    EXPECT_STREQ(out, "");
    EXPECT_TRUE(Symbolize(known, out, 3));
    EXPECT_STREQ(out, "..");
}

void ExpectNamesInHandler(int) {
    const std::pair<void (*)(), const char*> cases[] = {
        {symbolizer_test::Box<char>::Open, "symbolizer_test::Box<>::Open()"},
        {symbolizer_test::DeepName, KIV_DEEP_NAME}};
    for (const auto& [function, expected] : cases) {
        char name[400] = "";
        errno = EDOM;
        const bool found = Symbolize(AddressOf(function), name, sizeof(name));
        if (!found || errno != EDOM || std::strcmp(name, expected) != 0)
            ::_exit(1);
    }
}

TEST(SymbolizerTest, HandlerOfASignalGetsItsNamesOnASmallStack) {
    InitializeSymbolizer(nullptr);
    EXPECT_TRUE(testing::PassesInChild([] {
        constexpr std::size_t kSize = 64 * 1024;
        void* const memory =
            ::mmap(nullptr, 2 * kSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        stack_t stack{};
        stack.ss_sp = static_cast<char*>(memory) + kSize;  // above what may not be touched
        stack.ss_size = kSize;
        ASSERT_EQ(::mprotect(stack.ss_sp, kSize, PROT_READ | PROT_WRITE), 0);
        ASSERT_EQ(::sigaltstack(&stack, nullptr), 0);
        struct sigaction action {};
        action.sa_flags = SA_ONSTACK;
        action.sa_handler = ExpectNamesInHandler;
        ASSERT_EQ(::sigaction(SIGUSR1, &action, nullptr), 0);
        ::raise(SIGUSR1);
    }));
}

TEST(SymbolizerTest, ThreadsNameAtOnceAndNothingStaysOpen) {
    InitializeSymbolizer(nullptr);
    const std::size_t open = testing::OpenDescriptors();
    std::atomic<int> named{0};

    {
        std::vector<std::jthread> threads(4);
        for (std::jthread& thread : threads)
            thread = std::jthread([&named] {
                for (int i = 0; i < 50; ++i) {
                    named += NameOf(AddressOf(&symbolizer_test::Plain)).ends_with("Plain()");
                    named += NameOf(AddressOf(&InitializeSymbolizer)).ends_with("Symbolizer()");
                }
            });
    }

    EXPECT_EQ(named, 4 * 50 * 2);
    EXPECT_EQ(testing::OpenDescriptors(), open);
}

TEST(SymbolizerTest, NamesComeBackWithDescriptors) {
    InitializeSymbolizer(nullptr);
    const ScopedTemporaryDirectory folder;
    EXPECT_TRUE(testing::PassesInChild([&] {
        const UniqueFD errors = OpenFile(folder.fd, "errors", true, FilePermission::Write);
        ASSERT_EQ(::dup2(errors.get(), STDERR_FILENO), STDERR_FILENO);
        auto taken = testing::TakeDescriptors(4);
        for (int left = 0; left < 3; ++left, taken.pop_back())
            EXPECT_EQ(NameOf(AddressOf(&symbolizer_test::Box<long>::Open)),
                      left == 2 ? "symbolizer_test::Box<>::Open()" : "not found");
    }));
    EXPECT_EQ(testing::ReadFile(folder.path + "/errors"), "");
}

}  // namespace
}  // namespace kiv
