// Converts any bytes and any units, with the blocks of this processor and with plain code, and
// holds the outcome against a decoder that is as simple as the definition of the encoding.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "kiv/base/textEncoding.h"
#include "platform/textConverter.h"

namespace {

using kiv::platform::BlockConverters;

void Require(bool condition) {
    if (!condition)
        std::abort();
}

std::string Encoded(std::uint32_t c) {
    if (c < 0x80)
        return {static_cast<char>(c)};
    std::string bytes;
    // The lead has as many bits fewer for the character as it says that there are bytes.
    std::uint32_t lead_limit = 0x40;
    std::uint32_t lead_tag = 0x80;
    do {
        bytes.insert(bytes.begin(), static_cast<char>(0x80 | (c & 0x3F)));
        c >>= 6;
        lead_limit >>= 1;
        lead_tag |= lead_limit << 1;
    } while (c >= lead_limit);
    bytes.insert(bytes.begin(), static_cast<char>(lead_tag | c));
    return bytes;
}

void Append(std::wstring& wide, std::uint32_t c) {
    if (c < 0x10000) {
        wide += static_cast<wchar_t>(c);
        return;
    }
    wide += static_cast<wchar_t>(0xD800 + (c - 0x10000) / 0x400);
    wide += static_cast<wchar_t>(0xDC00 + (c - 0x10000) % 0x400);
}

// The character at the front, if encoding it gives the bytes that stand there.
std::optional<std::uint32_t> FirstCharacter(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text[0]);
    const std::size_t size = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    std::uint32_t c = size == 1 ? lead : lead & (0x7Fu >> size);
    for (std::size_t i = 1; i < size && i < text.size(); ++i)
        c = c << 6 | (static_cast<unsigned char>(text[i]) & 0x3F);
    const bool is_character = c < 0xD800 || (c > 0xDFFF && c < 0x110000);
    if (!is_character || !text.starts_with(Encoded(c)))
        return std::nullopt;
    return c;
}

std::optional<std::wstring> Decoded(std::string_view text) {
    std::wstring wide;
    while (!text.empty()) {
        const std::optional<std::uint32_t> c = FirstCharacter(text);
        if (!c)
            return std::nullopt;
        Append(wide, *c);
        text.remove_prefix(Encoded(*c).size());
    }
    return wide;
}

std::optional<std::string> Encoded(const std::wstring& wide) {
    std::string utf8;
    for (std::size_t i = 0; i < wide.size(); ++i) {
        auto c = static_cast<std::uint32_t>(wide[i]);
        if (c > 0xFFFF || (c >= 0xDC00 && c < 0xE000))
            return std::nullopt;
        if (c >= 0xD800 && c < 0xDC00) {
            const std::uint32_t low = ++i < wide.size() ? static_cast<std::uint32_t>(wide[i]) : 0;
            if (low < 0xDC00 || low > 0xDFFF)
                return std::nullopt;
            c = 0x10000 + (c - 0xD800) * 0x400 + (low - 0xDC00);
        }
        utf8 += Encoded(c);
    }
    return utf8;
}

template <class Convert>
auto ResultOf(Convert convert) -> std::optional<decltype(convert())> {
    try {
        return convert();
    } catch (const std::range_error& error) {
        Require(std::strcmp(error.what(), "bad conversion") == 0);
        return std::nullopt;
    }
}

void CheckDecoding(const std::string& text) {
    const auto expected = Decoded(text.c_str());
    Require(ResultOf([&] { return kiv::Utf8ToWideString(text); }) == expected);
    for (const BlockConverters* blocks :
         {&kiv::platform::PlainBlocks(), &kiv::platform::FastestBlocks()})
        Require(ResultOf([&] { return DecodeUtf8(text.c_str(), *blocks); }) == expected);
    if (expected)
        Require(kiv::WideStringToUtf8(*expected) == text.c_str());
}

void CheckEncoding(const std::wstring& wide) {
    const auto expected = Encoded(std::wstring(wide.c_str()));
    Require(ResultOf([&] { return kiv::WideStringToUtf8(wide); }) == expected);
    for (const BlockConverters* blocks :
         {&kiv::platform::PlainBlocks(), &kiv::platform::FastestBlocks()})
        Require(ResultOf([&] { return EncodeUtf8(wide.c_str(), *blocks); }) == expected);
    if (expected)
        Require(kiv::Utf8ToWideString(*expected) == wide.c_str());
}

// The input as units of so many bytes each.
std::wstring UnitsIn(const std::uint8_t* data, std::size_t size, std::size_t unit) {
    std::wstring wide;
    for (std::size_t i = 0; i + unit <= size; i += unit) {
        std::uint32_t number = 0;
        std::memcpy(&number, data + i, unit);
        wide += static_cast<wchar_t>(number);
    }
    return wide;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    CheckDecoding(text);
    // Also behind other text, so that the input meets longer runs and the ends of pieces.
    std::string longer;
    for (const char* run : {"plain ", "\u0416", "\u4E2D", "\U0001F680"})
        for (std::size_t i = 0; i < 2 + size % 37; ++i)
            longer += run;
    CheckDecoding(longer + text + longer);

    const std::wstring before = kiv::Utf8ToWideString(longer);
    for (const std::size_t unit : {2, 4}) {
        const std::wstring wide = UnitsIn(data, size, unit);
        CheckEncoding(wide);
        CheckEncoding(before + wide + before);
    }
    return 0;
}
