#include "logging/plainFormat.h"

#include <charconv>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <system_error>
#include <type_traits>

namespace kiv::logging::internal {
namespace {

char* PutText(char* to, char* end, const char* text, std::size_t size) {
    if (size > static_cast<std::size_t>(end - to))
        return nullptr;
    std::memcpy(to, text, size);
    return to + size;
}

bool IsInteger(char conversion) {
    return conversion == 'd' || conversion == 'i' || conversion == 'u' || conversion == 'x';
}

template <class Signed>
char* PutInteger(char* to, char* end, char conversion, Signed value) {
    const auto bits = static_cast<std::make_unsigned_t<Signed>>(value);
    std::to_chars_result result{};
    if (conversion == 'x')
        result = std::to_chars(to, end, bits, 16);
    else if (conversion == 'u')
        result = std::to_chars(to, end, bits);
    else
        result = std::to_chars(to, end, value);
    return result.ec == std::errc() ? result.ptr : nullptr;
}

}  // namespace

char* FormatPlain(char* to, char* end, const char* format, va_list args) {
    while (const char* const percent = std::strchr(format, '%')) {
        to = PutText(to, end, format, static_cast<std::size_t>(percent - format));
        if (to == nullptr)
            return nullptr;
        format = percent + 1;
        while (*format == 'l' || *format == 'z')
            ++format;
        const std::string_view length(percent + 1, static_cast<std::size_t>(format - percent - 1));
        const char conversion = *format++;

        if (IsInteger(conversion)) {
            if (length.empty())
                to = PutInteger(to, end, conversion, va_arg(args, int));
            else if (length == "l")
                to = PutInteger(to, end, conversion, va_arg(args, long));
            else if (length == "ll")
                to = PutInteger(to, end, conversion, va_arg(args, long long));
            else if (length == "z")
                to = PutInteger(to, end, conversion, va_arg(args, std::ptrdiff_t));
            else
                return nullptr;
        } else if (!length.empty()) {
            return nullptr;
        } else if (conversion == 's') {
            const char* const text = va_arg(args, const char*);
            to = text != nullptr ? PutText(to, end, text, std::strlen(text)) : nullptr;
        } else if (conversion == 'c') {
            const char character = static_cast<char>(va_arg(args, int));
            to = PutText(to, end, &character, 1);
        } else if (conversion == '%') {
            to = PutText(to, end, percent, 1);
        } else {
            return nullptr;
        }
        if (to == nullptr)
            return nullptr;
    }
    return PutText(to, end, format, std::strlen(format));
}

}  // namespace kiv::logging::internal
