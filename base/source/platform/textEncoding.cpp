#include "kiv/base/textEncoding.h"

#include <cstddef>
#include <cstring>
#include <cwchar>
#include <stdexcept>

#include "kiv/base/integers.h"

namespace kiv {
namespace {

[[noreturn]] void RaiseBadConversion() {
    throw std::range_error("bad conversion");
}

constexpr bool IsContinuation(unsigned char byte) {
    return (byte & 0xC0) == 0x80;
}

// The text ends in a NUL, which continues nothing, so no sequence is read beyond it.
const unsigned char* DecodeOne(const unsigned char* p, std::wstring& wide) {
    const uint32 lead = *p;
    const int size = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    constexpr uint32 kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    if (lead < 0xC2 || lead > 0xF4)
        RaiseBadConversion();
    uint32 c = lead & (0xFFu >> (size + 1));
    for (int i = 1; i < size; ++i) {
        if (!IsContinuation(p[i]))
            RaiseBadConversion();
        c = c << 6 | (p[i] & 0x3Fu);
    }
    if (c < kLeast[size] || c > 0x10FFFF || (c >= 0xD800 && c < 0xE000))
        RaiseBadConversion();
    if (c > 0xFFFF) {
        wide += static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10));
        wide += static_cast<wchar_t>(0xDC00 + (c & 0x3FF));
    } else {
        wide += static_cast<wchar_t>(c);
    }
    return p + size;
}

}  // namespace

std::wstring Utf8ToWideString(const basic_string_view<char>& text) {
    std::wstring wide;
    if (text.data() == nullptr)
        return wide;
    const auto* p = reinterpret_cast<const unsigned char*>(text.data());
    while (*p != 0) {
        if (*p < 0x80)
            wide += static_cast<wchar_t>(*p++);
        else
            p = DecodeOne(p, wide);
    }
    return wide;
}

std::string WideStringToUtf8(const basic_string_view<wchar_t>& text) {
    std::string utf8;
    if (text.data() == nullptr)
        return utf8;
    const auto append = [&utf8](uint32 byte) { utf8 += static_cast<char>(byte); };
    for (const wchar_t* p = text.data(); *p != 0; ++p) {
        uint32 c = static_cast<uint32>(*p);
        if (c > 0xFFFF || (c & 0xFC00) == 0xDC00)
            RaiseBadConversion();
        if ((c & 0xFC00) == 0xD800) {
            const uint32 low = static_cast<uint32>(*++p);
            if (low >> 10 != 0xDC00 >> 10)
                RaiseBadConversion();
            c = 0x10000 + ((c & 0x3FF) << 10) + (low & 0x3FF);
        }
        if (c < 0x80) {
            append(c);
        } else if (c < 0x800) {
            append(0xC0 | c >> 6);
            append(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            append(0xE0 | c >> 12);
            append(0x80 | (c >> 6 & 0x3F));
            append(0x80 | (c & 0x3F));
        } else {
            append(0xF0 | c >> 18);
            append(0x80 | (c >> 12 & 0x3F));
            append(0x80 | (c >> 6 & 0x3F));
            append(0x80 | (c & 0x3F));
        }
    }
    return utf8;
}

}  // namespace kiv
