#include "catalogue/readableText.h"

namespace catalogue {
namespace {

bool IsControl(std::string_view character) {
    const auto first = static_cast<unsigned char>(character[0]);
    // In front of a second byte below 0xA0, 0xC2 makes the control characters beyond ASCII.
    return first < 0x20 || first == 0x7F ||
           (first == 0xC2 && static_cast<unsigned char>(character[1]) < 0xA0);
}

}  // namespace

std::size_t Utf8Length(std::string_view bytes) {
    const auto at = [&](std::size_t i) {
        return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0u;
    };
    const unsigned first = at(0);
    if (bytes.empty() || first < 0x80)
        return bytes.empty() ? 0 : 1;
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4)
        return 0;
    // The second byte tells longer spellings than needed, surrogates, and what is beyond Unicode.
    const unsigned lowest = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
    const unsigned highest = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
    if (at(1) < lowest || at(1) > highest)
        return 0;
    for (std::size_t i = 2; i < length; ++i)
        if (at(i) < 0x80 || at(i) > 0xBF)
            return 0;
    return length;
}

std::string ReadableText(std::string_view bytes) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const std::size_t length = Utf8Length(bytes);
        const std::string_view character = bytes.substr(0, length == 0 ? 1 : length);
        if (length == 0 || IsControl(character)) {
            for (const char c : character) {
                const auto byte = static_cast<unsigned char>(c);
                text += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
            }
        } else {
            if (character == "\\")
                text += '\\';
            text += character;
        }
        bytes.remove_prefix(character.size());
    }
    return text;
}

}  // namespace catalogue
