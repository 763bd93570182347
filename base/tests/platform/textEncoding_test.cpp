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
    // What continues nothing or too long, and what is longer than it needs to be.
    "\x80", "\xC3\xA9\xA9", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF",
    // Surrogates, and what is beyond the last character.
    "\xED\xA0\x80", "\xED\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF",
    // Cut off, and broken off.
    "\xC3", "\xE4\xB8", "\xF0\x9F\x9A", "\xC3z", "\xE4\xB8z", "\xE4\xC3\xA9", "\xF0\x9F\x9Az",
    "\xC3zzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzz\xA9"};

const std::wstring kBadWide[] = {
    // Surrogates without a second, without a first, and swapped; then what is no unit.
    L"\xD800",       L"\xDBFF\x61",   L"\xDC00",
    L"\xDC00\xDC00", L"\xDC00\xD800", L"\xD800\xD800\xDC00",
#if WCHAR_MAX > 0xFFFF
    L"\x10000",      L"\x1F680",      L"\xFFFFFFFF",
#endif
};

const BlockConverters* const kBothBlocks[] = {&PlainBlocks(), &FastestBlocks()};

template <class Text>
Text Times(int count, const Text& text) {
    Text all;
    for (int i = 0; i < count; ++i)
        all += text;
    return all;
}

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
    for (const std::u16string_view around :
         {u"a", u"\u0416", u"\u4E2D", u"\U0001F680", u"word \u0416\u0416 \u4E2D"})
        for (int place = 0; place < 40; ++place) {
            const std::wstring wide_before = Times(place, Wide(around));
            const std::wstring wide_behind = Times(40, Wide(around));
            const std::string before = WideStringToUtf8(wide_before);
            const std::string behind = WideStringToUtf8(wide_behind);
            SCOPED_TRACE(before);
            for (const BlockConverters* blocks : kBothBlocks) {
                for (const TextCase& c : kTexts) {
                    const std::string utf8 = before + c.utf8 + behind;
                    const std::wstring wide = wide_before + Wide(c.units) + wide_behind;
                    EXPECT_EQ(DecodeUtf8(utf8.c_str(), *blocks), wide) << c.name;
                    EXPECT_EQ(EncodeUtf8(wide.c_str(), *blocks), utf8) << c.name;
                }
                for (const char* bad : kBadUtf8)
                    EXPECT_FALSE(ResultOf([&] {
                        return DecodeUtf8((before + bad + behind).c_str(), *blocks);
                    })) << testing::PrintToString(bad);
                for (const std::wstring& bad : kBadWide)
                    EXPECT_FALSE(ResultOf([&] {
                        return EncodeUtf8((wide_before + bad + wide_behind).c_str(), *blocks);
                    })) << testing::PrintToString(bad);
            }
        }
}

// A conversion goes in pieces, and a run of ASCII in several at once.
TEST(TextEncodingTest, APieceMayEndAnywhere) {
    for (const BlockConverters* blocks : kBothBlocks)
        for (std::size_t size = 1900; size < 2100; ++size) {
            const std::string utf8 = std::string(size, 'a') + "\u0416\U0001F680";
            const std::wstring wide = std::wstring(size, L'a') + Wide(u"\u0416\U0001F680");
            ASSERT_EQ(DecodeUtf8((utf8 + utf8).c_str(), *blocks), wide + wide) << size;
            ASSERT_EQ(EncodeUtf8((wide + wide).c_str(), *blocks), utf8 + utf8) << size;
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
    for (const BlockConverters* blocks : kBothBlocks)
        EXPECT_EQ(DecodeUtf8(utf8.c_str(), *blocks), all);

    // All pairs of bytes in front of one that continues.
    std::string text = "\u0416\u0416\u0416\u0416..\x80 and as much again behind it, and more";
    for (int pair = 0x101; pair < 0x10000; ++pair) {
        text[8] = static_cast<char>(pair >> 8);
        text[9] = static_cast<char>(pair);
        const auto convert = [&](const BlockConverters& blocks) {
            return ResultOf([&] { return DecodeUtf8(text.c_str(), blocks); });
        };
        ASSERT_EQ(convert(FastestBlocks()), convert(PlainBlocks())) << std::hex << pair;
    }
}

}  // namespace
}  // namespace kiv
