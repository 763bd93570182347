// Bytes that may be anything, such as the names of files, as text that everybody can read.
#ifndef CATALOGUE_READABLE_TEXT_H_
#define CATALOGUE_READABLE_TEXT_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace catalogue {

/// The length of the UTF-8 character that `bytes` begins with; 0 if it begins with none.
std::size_t Utf8Length(std::string_view bytes);

/// The bytes in UTF-8 that shows on a terminal, and back to which there is one way: bytes that are
/// no UTF-8 and control characters become "\x" and two digits, a backslash becomes two.
std::string ReadableText(std::string_view bytes);

}  // namespace catalogue

#endif  // CATALOGUE_READABLE_TEXT_H_
