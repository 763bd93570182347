// JSON text as it grows: the bytes, and how single values are spelled.
#ifndef KIV_BASE_ARCHIVE_JSON_TEXT_H_
#define KIV_BASE_ARCHIVE_JSON_TEXT_H_

#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

#include "kiv/base/integers.h"
#include "kiv/base/stringView.h"

namespace kiv::internal {

/// The part of a text that comes before its first zero byte. Names and strings end there, since a
/// reader takes them as plain strings.
inline std::string_view UpToZero(StringView text) {
    if (text.empty())
        return {};
    const void* const zero = std::memchr(text.data(), 0, text.size());
    return {text.data(),
            zero ? static_cast<std::size_t>(static_cast<const char*>(zero) - text.data())
                 : text.size()};
}

constexpr uint64 EachByte(unsigned char byte) {
    return byte * uint64{0x0101010101010101};
}

// Not 0 if any of eight bytes is a control character, a quote or a backslash. The lowest bit that
// is set is then the high bit of the first such byte: a byte below n leaves its high bit in (word -
// n in each byte) & ~word, and borrows at most from those above it.
constexpr uint64 EscapesIn(uint64 word) {
    const uint64 quotes = word ^ EachByte('"');
    const uint64 backslashes = word ^ EachByte('\\');
    const uint64 hits = ((word - EachByte(0x20)) & ~word) | ((quotes - EachByte(1)) & ~quotes) |
                        ((backslashes - EachByte(1)) & ~backslashes);
    return hits & EachByte(0x80);
}

inline bool NeedsEscape(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == '"' || c == '\\';
}

/// Text that is written at its end and cut there. Values are spelled as rapidjson's `Writer` does,
/// which the tests compare: numbers in the shortest form that reads back the same, no finite number
/// as anything else, NaN and the infinities by name; strings escaped where JSON demands it, with
/// bytes that are no UTF-8 passed through.
class JsonText {
public:
    std::size_t size() const { return size_; }
    const char* data() const { return bytes_.get(); }
    std::string_view From(std::size_t begin) const { return {data() + begin, size_ - begin}; }

    /// Makes room, so that so many bytes can be appended without an exception.
    void Reserve(std::size_t count) { _Room(count); }
    void Truncate(std::size_t size) { size_ = size; }
    void Append(char c) {
        *_Room(1) = c;
        ++size_;
    }
    void Append(std::string_view text) {
        if (text.empty())
            return;
        std::memcpy(_Room(text.size()), text.data(), text.size());
        size_ += text.size();
    }

    // A template, or a pointer would pass for a `bool`.
    template <std::same_as<bool> T>
    void AppendValue(T value) {
        Append(value ? "true" : "false");
    }
    template <std::integral T>
    requires(!std::same_as<T, bool>) void AppendValue(T value) {
        constexpr std::size_t kLongest = 20;
        char* const begin = _Room(kLongest);
        size_ +=
            static_cast<std::size_t>(std::to_chars(begin, begin + kLongest, value).ptr - begin);
    }
    void AppendValue(double value);
    void AppendValue(float value) { AppendValue(static_cast<double>(value)); }
    /// With its quotes, and zero bytes as "\u0000".
    void AppendValue(std::string_view text) { _AppendQuoted(text, false); }
    /// The part before the first zero byte.
    void AppendUpToZero(std::string_view text) { _AppendQuoted(text, true); }

private:
    char* _Room(std::size_t count) {
        if (count > capacity_ - size_)
            _Grow(count);
        return bytes_.get() + size_;
    }
    void _Grow(std::size_t count);
    void _AppendQuoted(std::string_view text, bool upToZero);

    struct Free {
        void operator()(char* bytes) const { std::free(bytes); }
    };

    // From malloc, since realloc grows a long text without copying it.
    std::unique_ptr<char, Free> bytes_;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

}  // namespace kiv::internal

#endif  // KIV_BASE_ARCHIVE_JSON_TEXT_H_
