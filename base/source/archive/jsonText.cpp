#include "archive/jsonText.h"

#include <algorithm>
#include <cmath>
#include <new>

#include <rapidjson/internal/dtoa.h>

namespace kiv::internal {
namespace {

// Copies what comes before the first character that needs an escape, and gives its length. Eight
// bytes at a time, and four that overlap four others at the end, since most names and texts are
// short.
std::size_t CopyWithoutEscapes(std::string_view text, char* to) {
    const char* const from = text.data();
    const std::size_t size = text.size();
    std::size_t done = 0;
    uint64 word = 0;
    for (; size - done >= sizeof(word); done += sizeof(word)) {
        std::memcpy(&word, from + done, sizeof(word));
        if (EscapesIn(word) != 0)
            break;
        std::memcpy(to + done, &word, sizeof(word));
    }
    const std::size_t left = size - done;
    if (left >= 4 && left < 8) {
        uint32 halves[2];
        std::memcpy(&halves[0], from + done, 4);
        std::memcpy(&halves[1], from + size - 4, 4);
        std::memcpy(&word, halves, sizeof(word));
        if (EscapesIn(word) == 0) {
            std::memcpy(to + done, &halves[0], 4);
            std::memcpy(to + size - 4, &halves[1], 4);
            return size;
        }
    }
    for (; done < size && !NeedsEscape(from[done]); ++done)
        to[done] = from[done];
    return done;
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

void JsonText::_AppendQuoted(std::string_view text, bool upToZero) {
    constexpr char kHexDigits[] = "0123456789ABCDEF";
    Append('"');
    for (;;) {
        const std::size_t copied = CopyWithoutEscapes(text, _Room(text.size()));
        size_ += copied;
        if (copied == text.size() || (upToZero && text[copied] == 0))
            break;
        const char c = text[copied];
        const char letter = EscapeLetter(c);
        Append('\\');
        Append(letter);
        if (letter == 'u') {
            const char code[] = {'0', '0', kHexDigits[c >> 4], kHexDigits[c & 0xF]};
            Append(std::string_view(code, sizeof(code)));
        }
        text.remove_prefix(copied + 1);
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
