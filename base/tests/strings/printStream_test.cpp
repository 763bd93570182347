#include "kiv/base/printStream.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <cwchar>
#include <functional>
#include <limits>
#include <new>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/runTogether.h"

namespace kiv::io {
namespace {

using ::testing::Each;

// Opens what the streams keep for those who derive from them.
class TestStream : public sstream {
public:
    using ostream::getBuffer;
    using ostream::operator->;
    using ostream::print;
};

struct PrintCase {
    std::function<void(ostream&)> print;
    std::string decimal;
    std::string hexadecimal;
};

/// What `dec` and `hex` print, the same where no second text is given.
template <class T>
PrintCase of(T value, const char* decimal, const char* hexadecimal = nullptr) {
    return {[value](ostream& out) { out << value; }, decimal, hexadecimal ? hexadecimal : decimal};
}

TEST(PrintStreamTest, EachTypePrintsInItsFormat) {
    const std::string cut("ab\0cd", 5);
    const unsigned char bytes[] = "bytes";
    const PrintCase cases[] = {
        of<short>(-1, "-1", "0xffff"),
        of<short>(SHRT_MIN, "-32768", "0x8000"),
        of<unsigned short>(USHRT_MAX, "65535", "0xffff"),
        of<int>(0, "0", "0x0"),
        of<int>(INT_MIN, "-2147483648", "0x80000000"),
        of<unsigned>(UINT_MAX, "4294967295", "0xffffffff"),
        of<long>(LONG_MIN, "-9223372036854775808", "0x8000000000000000"),
        of<unsigned long>(ULONG_MAX, "18446744073709551615", "0xffffffffffffffff"),
        of<long long>(-16, "-16", "0xfffffffffffffff0"),
        of<unsigned long long>(ULLONG_MAX, "18446744073709551615", "0xffffffffffffffff"),
        of<char>('x', "x"),
        of<unsigned char>('y', "y"),
        of<float>(0.5f, "0.500000"),
        of<double>(-1e20, "-100000000000000000000.000000"),
        of<long double>(2.25L, "2.250000"),
        of<bool>(true, "true"),
        of<bool>(false, "false"),
        of<const char*>("50% {}", "50% {}"),
        of<const char*>(nullptr, "(null)"),
        of<const unsigned char*>(bytes, "bytes"),
        of<std::string>(cut, "ab"),
        of<StringView>(cut, "ab"),
        of<StringView>(StringView("abc", 2), "ab"),
        of<const void*>(reinterpret_cast<void*>(0x1f), "0x1f"),
    };
    for (const PrintCase& c : cases) {
        sstream out;
        c.print(out);
        c.print(out.hex() << '|');
        c.print(out.dec() << '|');
        EXPECT_EQ(out.c_str(), c.decimal + "|" + c.hexadecimal + "|" + c.decimal);
    }
}

ostream& ending(ostream& out) {
    return out << ".";
}

TEST(PrintStreamTest, PrintsFollowEachOtherWithoutAGapAndSeldomMoveTheText) {
    TestStream out;
    EXPECT_STREQ(out.c_str(), "");

    out << "a"
        << "b" << 7 << "" << ending << 'z';
    EXPECT_STREQ(out.c_str(), "ab7.z");
    EXPECT_EQ(&out.flush(), &out);

    // The stream's own text, long enough for the block to move, a few times over.
    for (int i = 0; i < 8; ++i)
        out << out.c_str();
    std::string expected;
    for (int i = 0; i < 256; ++i)
        expected += "ab7.z";
    EXPECT_EQ(out.c_str(), expected);

    int moves = 0;
    for (int i = 0; i < 100000; ++i) {
        const uint64 before = out.getBuffer().capacity;
        out << 'x';
        moves += out.getBuffer().capacity != before;
    }
    EXPECT_EQ(out.c_str(), expected + std::string(100000, 'x'));
    EXPECT_LT(moves, 30);
}

TEST(PrintStreamTest, FormatsOfAnyLengthArriveWholeAndRejectedOnesNotAtAll) {
    TestStream out;
    std::string expected;
    for (int width : {1, 30, 31, 32, 33, 5000}) {
        out.print("%*d", width, 7);
        expected += std::string(width - 1, ' ') + "7";
        EXPECT_EQ(out.c_str(), expected);

        const uint64 left = out.getBuffer().size;
        out.print("wide %lc", static_cast<wint_t>(0x7FFFFFFF));
        EXPECT_EQ(out.c_str(), expected);
        EXPECT_EQ(out.getBuffer().size, left);
    }
    out << std::numeric_limits<double>::max();
    EXPECT_EQ(std::string(out.c_str()).size(), expected.size() + 309 + 7);
}

TEST(PrintStreamTest, APrintWithoutMemoryLeavesTheTextAsItWas) {
    TestStream out;
    out << "text";
    // Half of the largest block that there can be is what the next growth will ask for.
    const uint64 capacity = std::exchange(out->capacity, INT64_MAX);

    EXPECT_THROW(out.print("%*d", 1000, 7), std::bad_alloc);
    EXPECT_THROW(out << std::string(1000, 'a'), std::bad_alloc);
    out->capacity = capacity;

    EXPECT_STREQ(out.c_str(), "text");
    out << "." << 7;
    EXPECT_STREQ(out.c_str(), "text.7");
}

TEST(PrintStreamBufferTest, ASizeThatCannotBeCountedIsRefused) {
    ostream::Buffer buffer;
    *buffer.grow(1).first = 'a';
    buffer.advance(1);
    const uint64 largest = std::numeric_limits<uint64>::max();
    // Half as much again wraps, wraps to a little, or is more than any block holds.
    for (const uint64 needed : {largest, largest / 3 + 1, largest / 3 * 2, largest / 2}) {
        SCOPED_TRACE(needed);
        EXPECT_THROW(buffer.grow(needed), std::bad_alloc);
        EXPECT_EQ(buffer.capacity, 32u);
        EXPECT_EQ(buffer.size, 31u);
        EXPECT_EQ(*buffer.buffer, 'a');
    }
}

TEST(PrintStreamBufferTest, GrowsByHalfOfWhatIsNeededBehindWhatIsUsed) {
    ostream::Buffer buffer;

    auto [place, room] = buffer.grow(2);
    EXPECT_EQ(room, 32u);
    EXPECT_EQ(buffer.capacity, 32u);
    EXPECT_EQ(place, buffer.buffer);

    std::fill_n(place, 20, 'a');
    buffer.advance(20);
    const std::pair<uint64, uint64> steps[] = {
        {12, 32}, {13, 20 + 20}, {20, 20 + 20}, {101, 20 + 152}};
    for (const auto& [needed, capacity] : steps) {
        std::tie(place, room) = buffer.grow(needed);
        EXPECT_EQ(buffer.capacity, capacity) << needed;
        EXPECT_EQ(room, capacity - 20);
        EXPECT_EQ(place, buffer.buffer + 20);
        EXPECT_EQ(place, buffer.curr);
    }
    EXPECT_EQ(std::string(buffer.buffer, buffer.curr), std::string(20, 'a'));
}

TEST(PrintStreamBufferTest, AdvanceStaysInsideTheBlock) {
    ostream::Buffer buffer;
    buffer.grow(40);
    const std::pair<int64, uint64> steps[] = {{0, 60}, {-1, 60}, {INT64_MIN, 60}, {10, 50},
                                              {51, 0}, {1, 0},   {INT64_MAX, 0}};
    for (const auto& [count, left] : steps) {
        buffer.advance(count);
        EXPECT_EQ(buffer.size, left) << count;
        EXPECT_EQ(buffer.curr, buffer.buffer + buffer.capacity - left);
    }
}

TEST(PrintStreamBufferTest, ResetKeepsAtMostAKilobyte) {
    const std::pair<uint64, uint64> cases[] = {{35, 35}, {1023, 1023}, {1025, 1024}, {4097, 1024}};
    for (const auto& [capacity, afterwards] : cases) {
        TestStream out;
        // A first print needs its length and the null character, and gets half as much again.
        out << std::string((2 * capacity) / 3 - 1, 'a');
        ASSERT_EQ(out.getBuffer().capacity, capacity);

        out->reset();
        EXPECT_EQ(out.getBuffer().capacity, afterwards);
        EXPECT_EQ(out.getBuffer().size, afterwards);
        out << "b";
        EXPECT_STREQ(out.c_str(), "b");

        // The bytes tell whether it is the same block: a new one may well lie at the old place.
        const std::string mark(32, 'm');
        out << mark;
        out->reset();
        EXPECT_EQ(std::string(out.getBuffer().buffer + 1, mark.size()), mark);
        EXPECT_EQ(out.getBuffer().capacity, afterwards);
    }
    ostream::Buffer empty;
    empty.reset();
    EXPECT_EQ(empty.capacity, 0u);
}

TEST(PrintStreamTest, PrintsOfSeveralThreadsInterleaveOnlyWhole) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 300;
    TestStream out;
    testing::RunTogether(kThreads, [&](int id) {
        const std::string word = std::string(id + 1, static_cast<char>('a' + id)) + " ";
        for (int round = 0; round < kRounds; ++round) {
            (round % 2 ? out.hex() : out.dec()) << word;
            out.print("%s", word.c_str());
            out << 12345u;
        }
    });

    int words[kThreads] = {};
    std::string text = out.c_str();
    for (const char* digits : {"12345", "0x3039"}) {
        for (std::size_t at; (at = text.find(digits)) != std::string::npos;)
            text.erase(at, std::strlen(digits));
    }
    std::istringstream list(text);
    for (std::string word; list >> word;) {
        const int id = word[0] - 'a';
        ASSERT_EQ(word, std::string(id + 1, static_cast<char>('a' + id)));
        ++words[id];
    }
    EXPECT_THAT(words, Each(2 * kRounds));
}

}  // namespace
}  // namespace kiv::io
