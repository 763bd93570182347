// JSON text into the tree of a rapidjson document.
//
// The language and the error codes are those of `rapidjson::Reader` with `kParseNanAndInfFlag`,
// whose own parser is not used because foreign text has the better of it: its nesting becomes that
// of our stack, and its conversion of numbers either misses the nearest double or, at full
// precision, reads outside its tables when exponents are extreme. Here the stack is our own, and
// numbers are the nearest double, so that even those pass whose digits alone exceed its range,
// while the exponent brings them back. It also takes half the time.
#ifndef KIV_BASE_ARCHIVE_JSON_PARSER_H_
#define KIV_BASE_ARCHIVE_JSON_PARSER_H_

#include <cstddef>

#include "archive/jsonNode.h"

namespace kiv::internal {

/// So many zero bytes have to follow the text that is parsed.
constexpr std::size_t kJsonPadding = 8;

/// Parses up to the first zero byte of `text`, which the strings of the document point into and
/// which is changed for them. After an error the document is null. A text of 4 GB or more is
/// refused as `kParseErrorTermination`, since counts and lengths have 32 bits.
rapidjson::ParseErrorCode ParseJson(char* text, std::size_t size, rapidjson::Document& document);

}  // namespace kiv::internal

#endif  // KIV_BASE_ARCHIVE_JSON_PARSER_H_
