#include "kiv/base/printStream.h"

#include <algorithm>
#include <barrier>
#include <climits>
#include <cmath>
#include <cwchar>
#include <functional>
#include <limits>
#include <new>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
    const char* name;
    std::function<void(ostream&)> print;
    std::string decimal;
    std::string hexadecimal;
};

template <class T>
PrintCase number(const char* name, T value, const char* decimal, const char* hexadecimal) {
    return {name, [value](ostream& out) { out << value; }, decimal, hexadecimal};
}

TEST(PrintStreamTest, EachTypePrintsInItsFormat) {
    const std::string cut("ab\0cd", 5);
    const unsigned char bytes[] = "bytes";
    const PrintCase cases[] = {
        number<short>("short", -1, "-1", "0xffff"),
        number<short>("least short", SHRT_MIN, "-32768", "0x8000"),
        number<unsigned short>("unsigned short", USHRT_MAX, "65535", "0xffff"),
        number<int>("zero", 0, "0", "0x0"),
        number<int>("int", 255, "255", "0xff"),
        number<int>("least int", INT_MIN, "-2147483648", "0x80000000"),
        number<unsigned>("unsigned", UINT_MAX, "4294967295", "0xffffffff"),
        number<long>("long", LONG_MIN, "-9223372036854775808", "0x8000000000000000"),
        number<unsigned long>("unsigned long", ULONG_MAX, "18446744073709551615",
                              "0xffffffffffffffff"),
        number<long long>("long long", -16, "-16", "0xfffffffffffffff0"),
        number<unsigned long long>("unsigned long long", ULLONG_MAX, "18446744073709551615",
                                   "0xffffffffffffffff"),
        number<char>("char", 'x', "x", "x"),
        number<unsigned char>("unsigned char", 'y', "y", "y"),
        number<float>("float", 0.5f, "0.500000", "0.500000"),
        number<double>("double", -1e20, "-100000000000000000000.000000",
                       "-100000000000000000000.000000"),
        number<double>("infinity", HUGE_VAL, "inf", "inf"),
        number<long double>("long double", 2.25L, "2.250000", "2.250000"),
        number<bool>("true", true, "true", "true"),
        number<bool>("false", false, "false", "false"),
        number<const char*>("text", "50% {}", "50% {}", "50% {}"),
        number<const char*>("null text", nullptr, "(null)", "(null)"),
        number<const unsigned char*>("bytes", bytes, "bytes", "bytes"),
        number<std::string>("text with a null character", cut, "ab", "ab"),
        number<StringView>("view with a null character", cut, "ab", "ab"),
        number<StringView>("view into a longer text", StringView("abc", 2), "ab", "ab"),
        number<const void*>("address", reinterpret_cast<void*>(0x1f), "0x1f", "0x1f"),
    };
    for (const PrintCase& c : cases) {
        SCOPED_TRACE(c.name);
        sstream out;
        c.print(out);
        EXPECT_EQ(out.c_str(), c.decimal);

        sstream both;
        c.print(both.hex());
        c.print(both.dec() << '|');
        EXPECT_EQ(both.c_str(), c.hexadecimal + "|" + c.decimal);
    }
}

ostream& ending(ostream& out) {
    return out << ".";
}

TEST(PrintStreamTest, PrintsFollowEachOtherWithoutAGap) {
    sstream out;
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
}

TEST(PrintStreamTest, ManySmallPrintsSeldomMoveTheText) {
    TestStream out;
    int moves = 0;
    for (int i = 0; i < 100000; ++i) {
        const uint64 before = out.getBuffer().capacity;
        out << 'x';
        moves += out.getBuffer().capacity != before;
    }
    EXPECT_EQ(std::string(out.c_str()), std::string(100000, 'x'));
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
    const struct {
        uint64 needed;
        uint64 capacity;
    } steps[] = {{12, 32}, {13, 20 + 20}, {20, 20 + 20}, {101, 20 + 152}};
    for (const auto& step : steps) {
        std::tie(place, room) = buffer.grow(step.needed);
        EXPECT_EQ(buffer.capacity, step.capacity) << step.needed;
        EXPECT_EQ(room, step.capacity - 20);
        EXPECT_EQ(place, buffer.buffer + 20);
        EXPECT_EQ(place, buffer.curr);
    }
    EXPECT_EQ(std::string(buffer.buffer, buffer.curr), std::string(20, 'a'));
}

TEST(PrintStreamBufferTest, AdvanceStaysInsideTheBlock) {
    ostream::Buffer buffer;
    buffer.grow(40);
    const struct {
        int64 count;
        uint64 left;
    } steps[] = {{0, 60}, {-1, 60}, {INT64_MIN, 60}, {10, 50}, {51, 0}, {1, 0}, {INT64_MAX, 0}};
    for (const auto& step : steps) {
        buffer.advance(step.count);
        EXPECT_EQ(buffer.size, step.left) << step.count;
        EXPECT_EQ(buffer.curr, buffer.buffer + buffer.capacity - step.left);
    }
}

TEST(PrintStreamBufferTest, ResetKeepsAtMostAKilobyte) {
    const struct {
        int capacity;
        uint64 afterwards;
    } cases[] = {{35, 35}, {1023, 1023}, {1025, 1024}, {4097, 1024}};
    for (const auto& c : cases) {
        TestStream out;
        // A first print needs its length and the null character, and gets half as much again.
        out << std::string((2 * c.capacity) / 3 - 1, 'a');
        ASSERT_EQ(out.getBuffer().capacity, static_cast<uint64>(c.capacity));

        out->reset();
        EXPECT_EQ(out.getBuffer().capacity, c.afterwards);
        EXPECT_EQ(out.getBuffer().size, c.afterwards);
        EXPECT_STREQ(out.c_str(), "");
        out << "b";
        EXPECT_STREQ(out.c_str(), "b");

        // The bytes tell whether it is the same block: a new one may well lie at the old place.
        const std::string mark(32, 'm');
        out << mark;
        out->reset();
        EXPECT_EQ(std::string(out.getBuffer().buffer + 1, mark.size()), mark);
        EXPECT_EQ(out.getBuffer().capacity, c.afterwards);
    }
    ostream::Buffer empty;
    empty.reset();
    EXPECT_EQ(empty.capacity, 0u);
}

TEST(PrintStreamTest, PrintsOfSeveralThreadsInterleaveOnlyWhole) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 300;
    TestStream out;
    std::barrier start(kThreads);
    std::vector<std::thread> threads;
    for (int id = 0; id < kThreads; ++id) {
        threads.emplace_back([&, id] {
            const std::string word = std::string(id + 1, static_cast<char>('a' + id)) + " ";
            start.arrive_and_wait();
            for (int round = 0; round < kRounds; ++round) {
                (round % 2 ? out.hex() : out.dec()) << word;
                out.print("%s", word.c_str());
                out << 12345u;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    int words[kThreads] = {};
    std::string text = out.c_str();
    for (const std::string& digits : {std::string("12345"), std::string("0x3039")}) {
        for (std::size_t at; (at = text.find(digits)) != std::string::npos;)
            text.erase(at, digits.size());
    }
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find(' ', at);
        ASSERT_NE(end, std::string::npos);
        const int id = text[at] - 'a';
        ASSERT_EQ(text.substr(at, end - at), std::string(id + 1, static_cast<char>('a' + id)));
        ++words[id];
        at = end + 1;
    }
    EXPECT_THAT(words, Each(2 * kRounds));
}

}  // namespace
}  // namespace kiv::io
