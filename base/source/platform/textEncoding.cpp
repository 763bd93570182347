#include "kiv/base/textEncoding.h"

#include "platform/textConverter.h"

namespace kiv {

std::wstring Utf8ToWideString(const basic_string_view<char>& text) {
    if (text.data() == nullptr)
        return {};
    return platform::DecodeUtf8(text.data(), platform::FastestBlocks());
}

std::string WideStringToUtf8(const basic_string_view<wchar_t>& text) {
    if (text.data() == nullptr)
        return {};
    return platform::EncodeUtf8(text.data(), platform::FastestBlocks());
}

}  // namespace kiv
