// The text conversions themselves, over block converters of the caller's choice.
#ifndef KIV_BASE_PLATFORM_TEXT_CONVERTER_H_
#define KIV_BASE_PLATFORM_TEXT_CONVERTER_H_

#include <string>

#include "platform/textBlocks.h"

namespace kiv::platform {

/// Up to the first NUL. Both raise `std::range_error` as textEncoding.h says.
std::wstring DecodeUtf8(const char* text, const BlockConverters& blocks);
std::string EncodeUtf8(const wchar_t* text, const BlockConverters& blocks);

}  // namespace kiv::platform

#endif  // KIV_BASE_PLATFORM_TEXT_CONVERTER_H_
