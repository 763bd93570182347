// The part of a text conversion that takes many characters at once.
//
// Such a converter takes what is easy, and may take nothing: it decides how fast a text is
// converted, and never to what. A processor without one loses speed alone, and a test holds the
// fastest against the plain ones.
#ifndef KIV_BASE_PLATFORM_TEXT_BLOCKS_H_
#define KIV_BASE_PLATFORM_TEXT_BLOCKS_H_

#include <cstddef>

namespace kiv::platform {

struct DecodePosition {
    const unsigned char* from;
    wchar_t* to;
};

struct EncodePosition {
    const wchar_t* from;
    char* to;
};

/// Each begins where a character begins, moves on over whole and valid characters, and leaves all
/// else to the caller, above all what is damaged. Reads nothing at `end` or behind it. Stops for
/// lack of room only if less than `kBlockRoom` is left; what lies between its last unit and
/// `to_end` may be overwritten.
struct BlockConverters {
    DecodePosition (*decode)(DecodePosition start, const unsigned char* end, const wchar_t* to_end);
    EncodePosition (*encode)(EncodePosition start, const wchar_t* end, const char* to_end);
};

constexpr std::ptrdiff_t kBlockRoom = 128;

const BlockConverters& PlainBlocks();
/// Null on a processor without AVX2.
const BlockConverters* Avx2Blocks();
/// The fastest that this processor has.
const BlockConverters& FastestBlocks();

}  // namespace kiv::platform

#endif  // KIV_BASE_PLATFORM_TEXT_BLOCKS_H_
