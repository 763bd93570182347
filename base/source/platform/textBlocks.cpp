#include "platform/textBlocks.h"

#include <cstddef>

#include "kiv/base/integers.h"

namespace kiv::platform {
namespace {

// Runs of ASCII, in loops of a fixed length and without an exit, which compilers turn into vectors.
template <class Position, class From, class To>
Position ConvertAscii(Position start, const From* end, const To* to_end) {
    constexpr std::ptrdiff_t kRun = 16;
    auto [from, to] = start;
    while (end - from >= kRun && to_end - to >= kRun) {
        uint32 bits = 0;
        for (std::ptrdiff_t i = 0; i < kRun; ++i)
            bits |= static_cast<uint32>(from[i]);
        if (bits >= 0x80)
            break;
        for (std::ptrdiff_t i = 0; i < kRun; ++i)
            to[i] = static_cast<To>(from[i]);
        from += kRun;
        to += kRun;
    }
    return {from, to};
}

constexpr BlockConverters kPlainBlocks = {&ConvertAscii<DecodePosition, unsigned char, wchar_t>,
                                          &ConvertAscii<EncodePosition, wchar_t, char>};

}  // namespace

const BlockConverters& PlainBlocks() {
    return kPlainBlocks;
}

const BlockConverters& FastestBlocks() {
    const BlockConverters* const blocks = Avx2Blocks();
    return blocks ? *blocks : kPlainBlocks;
}

}  // namespace kiv::platform
