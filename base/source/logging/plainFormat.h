// The formats that most messages have, printed without the C formatter, which takes several times
// as long for them.
#ifndef KIV_BASE_LOGGING_PLAIN_FORMAT_H_
#define KIV_BASE_LOGGING_PLAIN_FORMAT_H_

#include <cstdarg>

namespace kiv::logging::internal {

/// Prints to `[to, end)`, without a null character, what `vsnprintf` would, and gives the end of
/// it. Null for everything but texts, characters and integers without width, precision or flags,
/// and for what does not fit: then the C formatter has its turn, with a copy of `args` from before.
[[gnu::format(printf, 3, 0)]] char* FormatPlain(char* to, char* end, const char* format,
                                                va_list args);

}  // namespace kiv::logging::internal

#endif  // KIV_BASE_LOGGING_PLAIN_FORMAT_H_
