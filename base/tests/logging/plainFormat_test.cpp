#include "logging/plainFormat.h"

#include <climits>
#include <cstdio>
#include <string>

#include <gtest/gtest.h>

namespace kiv::logging::internal {
namespace {

// Formats into every room up to the length of the result, and holds the outcome against vsnprintf.
[[gnu::format(printf, 2, 3)]] void Expect(bool plain, const char* format, ...) {
    SCOPED_TRACE(format);
    va_list args;
    va_start(args, format);
    va_list copy;
    va_copy(copy, args);
    char expected[200];
    const int length = std::vsnprintf(expected, sizeof expected, format, copy);
    va_end(copy);
    for (int room = 0; room <= length; ++room) {
        std::string text(sizeof expected, '#');
        va_copy(copy, args);
        const char* const end = FormatPlain(text.data(), text.data() + room, format, copy);
        va_end(copy);
        ASSERT_EQ(end != nullptr, plain && room == length) << room;
        EXPECT_EQ(text.substr(0, end != nullptr ? end - text.data() : 0), end ? expected : "");
        EXPECT_EQ(text.find_first_not_of('#', room), text.npos);
    }
    va_end(args);
}

TEST(FormatPlainTest, ItPrintsWhatTheCFormatterDoesOrNothing) {
    Expect(true, "no arguments, 100%%");
    Expect(true, "%s%s: %c", "", "mesh {} %d", 'x');
    Expect(true, "%d %i %u %x", INT_MIN, INT_MAX, UINT_MAX, 0xABCDEFu);
    Expect(true, "%ld %li %lu %lx", LONG_MIN, LONG_MAX, ULONG_MAX, 0ul);
    Expect(true, "%lld %llu %llx", LLONG_MIN, ULLONG_MAX, 255ull);
    Expect(true, "%zd %zu %zx", static_cast<ssize_t>(-1), sizeof(int), SIZE_MAX);
    for (const char* const other : {"%5d", "%-d", "%+d", "%.3d", "%hd", "%jd", "%X", "%o", "%lc"})
        Expect(false, other, 0);
    Expect(false, "%.2f", 0.5);
    const char* volatile null = nullptr;
    Expect(false, "%s", null);
    for (const char* const broken : {"a%", "a%l", "a%lzd"}) {
        char room[8];
        va_list none{};
        EXPECT_EQ(FormatPlain(room, room + sizeof room, broken, none), nullptr);
    }
}

}  // namespace
}  // namespace kiv::logging::internal
