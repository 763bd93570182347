// UTF-8 to UTF-16 and back, for the interfaces of systems that want wide text.
//
//     const std::wstring wide = Utf8ToWideString(path);
//     const std::string same = WideStringToUtf8(wide);
//
// A wide text consists of UTF-16 units also where `wchar_t` has 32 bits: a character beyond U+FFFF
// is two of them, a surrogate pair. What is accepted in one direction comes back unchanged from the
// other.
//
// Both convert from the view's data up to the first NUL, whatever the view's size: the data has to
// end in one, as that of a string and of a literal does, and a part of a longer text does not. Null
// data counts as empty. Any thread.
#ifndef KIV_BASE_TEXT_ENCODING_H_
#define KIV_BASE_TEXT_ENCODING_H_

#include <string>

#include "kiv/base/export.h"
#include "kiv/base/stringView.h"

namespace kiv {

/// Raises `std::range_error` with "bad conversion" for what is not valid UTF-8: a sequence that is
/// cut off or longer than it needs, a surrogate, and what lies beyond U+10FFFF.
KIV_BASE_API std::wstring Utf8ToWideString(const basic_string_view<char>& text);

/// Raises `std::range_error` with "bad conversion" for a surrogate without its partner and for a
/// unit above 0xFFFF.
KIV_BASE_API std::string WideStringToUtf8(const basic_string_view<wchar_t>& text);

}  // namespace kiv

#endif  // KIV_BASE_TEXT_ENCODING_H_
