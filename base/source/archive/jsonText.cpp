#include "archive/jsonText.h"

#include <algorithm>
#include <cmath>
#include <new>

#include <rapidjson/internal/dtoa.h>

namespace kiv::internal {
namespace {

constexpr uint64 EachByte(unsigned char byte) {
    return byte * uint64{0x0101010101010101};
}

// Whether any of eight bytes is a control character, a quote or a backslash. A byte below n leaves
// its high bit set in (word - n in each byte) & ~word.
bool HasEscapes(uint64 word) {
    const uint64 quotes = word ^ EachByte('"');
    const uint64 backslashes = word ^ EachByte('\\');
    const uint64 hits = ((word - EachByte(0x20)) & ~word) | ((quotes - EachByte(1)) & ~quotes) |
                        ((backslashes - EachByte(1)) & ~backslashes);
    return (hits & EachByte(0x80)) != 0;
}

bool NeedsEscape(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == '"' || c == '\\';
}

// The letter behind the backslash, or 'u' for a code in hexadecimal digits.
char EscapeLetter(char c) {
    switch (c) {
        case '"':
        case '\\':
            return c;
        case '\b':
            return 'b';
        case '\f':
            return 'f';
        case '\n':
            return 'n';
        case '\r':
            return 'r';
        case '\t':
            return 't';
        default:
            return 'u';
    }
}

}  // namespace

void JsonText::AppendValue(double value) {
    if (std::isnan(value))
        return Append("NaN");
    if (std::isinf(value))
        return Append(value < 0 ? "-Infinity" : "Infinity");
    constexpr std::size_t kLongest = 25;
    char* const begin = _Room(kLongest);
    size_ += static_cast<std::size_t>(rapidjson::internal::dtoa(value, begin) - begin);
}

void JsonText::AppendValue(std::string_view text) {
    constexpr char kHexDigits[] = "0123456789ABCDEF";
    constexpr std::size_t kLongestEscape = 6;
    const char* from = text.data();
    const char* const end = from + text.size();
    Append('"');
    for (;;) {
        char* to = _Room(static_cast<std::size_t>(end - from) + kLongestEscape);
        for (uint64 word; end - from >= static_cast<std::ptrdiff_t>(sizeof(word));
             from += sizeof(word), to += sizeof(word)) {
            std::memcpy(&word, from, sizeof(word));
            if (HasEscapes(word))
                break;
            std::memcpy(to, &word, sizeof(word));
        }
        while (from != end && !NeedsEscape(*from))
            *to++ = *from++;
        const bool done = from == end || *from == 0;
        if (!done) {
            const char c = *from++;
            const char letter = EscapeLetter(c);
            *to++ = '\\';
            *to++ = letter;
            if (letter == 'u') {
                *to++ = '0';
                *to++ = '0';
                *to++ = kHexDigits[c >> 4];
                *to++ = kHexDigits[c & 0xF];
            }
        }
        size_ = static_cast<std::size_t>(to - bytes_.get());
        if (done)
            break;
    }
    Append('"');
}

void JsonText::_Grow(std::size_t count) {
    const std::size_t capacity = std::max({size_ + count, 2 * capacity_, std::size_t{4096}});
    char* const bytes = static_cast<char*>(std::realloc(bytes_.get(), capacity));
    if (!bytes)
        throw std::bad_alloc();
    (void)bytes_.release();  // realloc has taken it
    bytes_.reset(bytes);
    capacity_ = capacity;
}

}  // namespace kiv::internal
