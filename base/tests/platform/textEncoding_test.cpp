#include "kiv/base/textEncoding.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "platform/textConverter.h"

namespace kiv {
namespace {

using platform::BlockConverters;
using platform::DecodeUtf8;
using platform::EncodeUtf8;
using platform::FastestBlocks;
using platform::PlainBlocks;

// What the conversion gives, or nothing if it raises the error that it should.
template <class Convert>
auto ResultOf(Convert convert) -> std::optional<decltype(convert())> {
    try {
        return convert();
    } catch (const std::range_error& error) {
        EXPECT_STREQ(error.what(), "bad conversion");
        return std::nullopt;
    }
}

std::wstring Wide(std::u16string_view units) {
    return std::wstring(units.begin(), units.end());
}

struct TextCase {
    const char* name;
    std::string utf8;
    std::u16string_view units;
};

const TextCase kTexts[] = {
    {"nothing", "", u""},
    {"ASCII", "\x01 az~\x7F", u"\x01 az~\x7F"},
    {"two bytes", "\xC2\x80\xDF\xBF", u"\x80\x7FF"},
    {"three bytes", "\xE0\xA0\x80\xEF\xBF\xBF", u"\x800\xFFFF"},
    {"around the surrogates", "\xED\x9F\xBF\xEE\x80\x80", u"\xD7FF\xE000"},
    {"byte order mark", "\xEF\xBB\xBF", u"\xFEFF"},
    {"the first pair", "\xF0\x90\x80\x80", u"\xD800\xDC00"},
    {"the last pair", "\xF4\x8F\xBF\xBF", u"\xDBFF\xDFFF"},
    {"scripts", "a\u00E9\u0416\u4E2D\U0001F680z", u"a\u00E9\u0416\u4E2D\U0001F680z"},
};

const char* const kBadUtf8[] = {
    "\x80",              // continues nothing
    "\xC3\xA9\xA9",      // continues too long
    "\xC1\xBF",          // longer than it needs
    "\xE0\x9F\xBF",      //
    "\xF0\x8F\xBF\xBF",  //
    "\xED\xA0\x80",      // surrogates
    "\xED\xBF\xBF",      //
    "\xF4\x90\x80\x80",  // beyond the last character
    "\xF5\x80\x80\x80",  //
    "\xFF",              //
    "\xC3",              // cut off
    "\xE4\xB8",          //
    "\xF0\x9F\x9A",      //
    "\xC3z",             // broken off
    "\xC3zzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzz\xA9",
    "\xE4\xB8z",      //
    "\xE4\xC3\xA9",   //
    "\xF0\x9F\x9Az",  //
};

const std::wstring kBadWide[] = {
    Wide({u"\xD800", 1}),        // without a second
    Wide({u"\xDBFF\x61", 2}),    //
    Wide({u"\xDC00", 1}),        // without a first
    Wide({u"\xDC00\xDC00", 2}),  //
    Wide({u"\xDC00\xD800", 2}),  // swapped
    Wide({u"\xD800\xD800\xDC00", 3}),
#if WCHAR_MAX > 0xFFFF
    {0x10000},  // no unit
    {0x1F680},
    {-1},
#endif
};

TEST(TextEncodingTest, TextsGoBothWays) {
    for (const TextCase& c : kTexts) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(Utf8ToWideString(c.utf8), Wide(c.units));
        EXPECT_EQ(WideStringToUtf8(Wide(c.units)), c.utf8);
    }
    for (const char* bad : kBadUtf8)
        EXPECT_FALSE(ResultOf([&] { return Utf8ToWideString(bad); }))
            << testing::PrintToString(bad);
    for (const std::wstring& bad : kBadWide)
        EXPECT_FALSE(ResultOf([&] { return WideStringToUtf8(bad); }))
            << testing::PrintToString(bad);
}

TEST(TextEncodingTest, ATextEndsAtTheFirstNulWhateverItsSize) {
    EXPECT_EQ(Utf8ToWideString(std::string("ab\0\xFF", 4)), L"ab");
    EXPECT_EQ(WideStringToUtf8(std::wstring(L"ab\0\xDC00", 4)), "ab");
    EXPECT_EQ(Utf8ToWideString(StringView("abc").substr(1, 0)), L"bc");
    EXPECT_EQ(WideStringToUtf8(basic_string_view<wchar_t>(L"abc", 1)), "abc");
    EXPECT_EQ(Utf8ToWideString({}), L"");
    EXPECT_EQ(WideStringToUtf8({}), "");
}

// A character takes other roads by where it stands in a block and by what stands around it.
TEST(TextEncodingTest, APlaceInALongTextChangesNothing) {
    const TextCase surroundings[] = {
        {"one byte", "a", u"a"},
        {"two bytes", "\u0416", u"\u0416"},
        {"three bytes", "\u4E2D", u"\u4E2D"},
        {"four bytes", "\U0001F680", u"\U0001F680"},
        {"a mixture", "word \u0416\u0416 \u4E2D", u"word \u0416\u0416 \u4E2D"},
    };
    for (const BlockConverters* blocks : {&PlainBlocks(), &FastestBlocks()})
        for (const TextCase& around : surroundings) {
            SCOPED_TRACE(around.name);
            std::string before;
            std::wstring wide_before;
            std::string behind;
            std::wstring wide_behind;
            for (int i = 0; i < 40; ++i) {
                behind += around.utf8;
                wide_behind += Wide(around.units);
            }
            for (int place = 0; place < 40; ++place) {
                SCOPED_TRACE(place);
                for (const TextCase& c : kTexts) {
                    const std::string utf8 = before + c.utf8 + behind;
                    const std::wstring wide = wide_before + Wide(c.units) + wide_behind;
                    EXPECT_EQ(DecodeUtf8(utf8.c_str(), *blocks), wide) << c.name;
                    EXPECT_EQ(EncodeUtf8(wide.c_str(), *blocks), utf8) << c.name;
                }
                for (const char* bad : kBadUtf8) {
                    const std::string utf8 = before + bad + behind;
                    EXPECT_FALSE(ResultOf([&] { return DecodeUtf8(utf8.c_str(), *blocks); }))
                        << testing::PrintToString(bad);
                }
                for (const std::wstring& bad : kBadWide) {
                    const std::wstring wide = wide_before + bad + wide_behind;
                    EXPECT_FALSE(ResultOf([&] { return EncodeUtf8(wide.c_str(), *blocks); }))
                        << testing::PrintToString(bad);
                }
                before += around.utf8;
                wide_before += Wide(around.units);
            }
        }
}

// A conversion goes in pieces, and a run of ASCII in several at once.
TEST(TextEncodingTest, APieceMayEndAnywhere) {
    for (const BlockConverters* blocks : {&PlainBlocks(), &FastestBlocks()})
        for (std::size_t size = 1900; size < 2100; ++size) {
            const std::string run(size, 'a');
            const std::wstring wide_run(size, L'a');
            const std::string utf8 = run + "\u0416\U0001F680" + run;
            const std::wstring wide = wide_run + Wide(u"\u0416\U0001F680") + wide_run;
            ASSERT_EQ(DecodeUtf8(utf8.c_str(), *blocks), wide) << size;
            ASSERT_EQ(EncodeUtf8(wide.c_str(), *blocks), utf8) << size;
        }
}

TEST(TextEncodingTest, BlocksTakeTheSameTextsAsPlainCode) {
    // All characters, far more than one piece.
    std::wstring all;
    for (int c = 1; c < 0x10000; ++c)
        if (c < 0xD800 || c > 0xDFFF)
            all += static_cast<wchar_t>(c);
    for (int high = 0xD800; high < 0xDC00; ++high)
        for (int low = 0xDC00; low < 0xE000; ++low)
            (all += static_cast<wchar_t>(high)) += static_cast<wchar_t>(low);
    const std::string utf8 = EncodeUtf8(all.c_str(), PlainBlocks());
    EXPECT_EQ(EncodeUtf8(all.c_str(), FastestBlocks()), utf8);
    EXPECT_EQ(DecodeUtf8(utf8.c_str(), FastestBlocks()), all);
    EXPECT_EQ(DecodeUtf8(utf8.c_str(), PlainBlocks()), all);

    // All pairs of bytes in front of one that continues.
    std::string text = "\u0416\u0416\u0416\u0416..\x80 and as much again behind it, and more";
    for (int pair = 0x101; pair < 0x10000; ++pair) {
        text[8] = static_cast<char>(pair >> 8);
        text[9] = static_cast<char>(pair);
        if (text[8] == '\0' || text[9] == '\0')
            continue;
        const auto convert = [&](const BlockConverters& blocks) {
            return ResultOf([&] { return DecodeUtf8(text.c_str(), blocks); });
        };
        ASSERT_EQ(convert(FastestBlocks()), convert(PlainBlocks())) << std::hex << pair;
    }
}

}  // namespace
}  // namespace kiv
