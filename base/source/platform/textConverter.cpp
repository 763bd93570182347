#include "platform/textConverter.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <cwchar>
#include <stdexcept>

#include "kiv/base/integers.h"

namespace kiv::platform {
namespace {

// Where blocks stop, so many bytes or units are taken one by one before blocks are tried again.
constexpr std::ptrdiff_t kStep = 8;
constexpr std::size_t kStepRoom = 3 * kStep + 1;  // the last of them may be half of a pair

// The result is made in pieces on the stack, and copied from there while the innermost cache has
// them: a string that is made longer to be written to is filled with zeros first.
constexpr std::size_t kPiece = 2048;

// What is looked at in loops of this length, without an exit, compilers take at once.
constexpr std::ptrdiff_t kRun = 64;

[[noreturn]] void RaiseBadConversion() {
    throw std::range_error("bad conversion");
}

// The text ends in a NUL, which continues nothing, so that no sequence is read beyond it.
uint32 ContinuationBits(unsigned char byte) {
    if ((byte & 0xC0) != 0x80)
        RaiseBadConversion();
    return byte & 0x3F;
}

void DecodeOne(DecodePosition& at) {
    const uint32 lead = *at.from++;
    const auto put = [&at](uint32 unit) { *at.to++ = static_cast<wchar_t>(unit); };
    if (lead < 0x80)
        return put(lead);
    if (lead < 0xC2)
        RaiseBadConversion();
    const uint32 second = ContinuationBits(*at.from++);
    if (lead < 0xE0)
        return put((lead & 0x1F) << 6 | second);
    const uint32 three = (lead & 0xF) << 12 | second << 6 | ContinuationBits(*at.from++);
    if (lead < 0xF0) {
        if (three < 0x800 || three >> 11 == 0xD800 >> 11)
            RaiseBadConversion();
        return put(three);
    }
    const uint32 c = three << 6 | ContinuationBits(*at.from++);
    if (c < 0x10000 || c > 0x10FFFF)
        RaiseBadConversion();
    put(0xD800 + ((c - 0x10000) >> 10));
    put(0xDC00 | (c & 0x3FF));
}

void EncodeOne(EncodePosition& at) {
    const uint32 unit = static_cast<uint32>(*at.from++);
    const auto put = [&at](uint32 byte) { *at.to++ = static_cast<char>(byte); };
    const auto put_continuation = [&put](uint32 bits) { put(0x80 | (bits & 0x3F)); };
    if (unit < 0x80)
        return put(unit);
    if (unit < 0x800) {
        put(0xC0 | unit >> 6);
        return put_continuation(unit);
    }
    if (unit >> 11 != 0xD800 >> 11) {
        if (unit > 0xFFFF)
            RaiseBadConversion();
        put(0xE0 | unit >> 12);
        put_continuation(unit >> 6);
        return put_continuation(unit);
    }
    // Behind the unit stands the NUL at least, which is no partner.
    const uint32 low = static_cast<uint32>(*at.from++);
    if (unit >= 0xDC00 || low >> 10 != 0xDC00 >> 10)
        RaiseBadConversion();
    const uint32 c = 0x10000 + ((unit & 0x3FF) << 10 | (low & 0x3FF));
    put(0xF0 | c >> 18);
    put_continuation(c >> 12);
    put_continuation(c >> 6);
    put_continuation(c);
}

bool IsAscii(const unsigned char* from, const unsigned char* end) {
    for (; end - from >= kRun; from += kRun) {
        unsigned char bits = 0;
        for (int i = 0; i < kRun; ++i)
            bits |= from[i];
        if (bits >= 0x80)
            return false;
    }
    return std::all_of(from, end, [](unsigned char byte) { return byte < 0x80; });
}

// Exact for valid text; for any other, which is refused later, as good as any number.
std::size_t CountUnits(const unsigned char* from, const unsigned char* end) {
    const auto units_of = [](unsigned char byte) {
        return static_cast<unsigned char>(((byte & 0xC0) != 0x80) + (byte >= 0xF0));
    };
    std::size_t count = 0;
    for (; end - from >= kRun; from += kRun) {
        unsigned char in_run = 0;  // room for two a byte
        for (int i = 0; i < kRun; ++i)
            in_run += units_of(from[i]);
        count += in_run;
    }
    for (; from != end; ++from)
        count += units_of(*from);
    return count;
}

// Appends all of the text: blocks where they go, and what stops them one by one.
template <auto kConvertOne, class Position, class From, class To>
void AppendConverted(std::basic_string<To>& result, const From* text, const From* end,
                     Position (*convert_blocks)(Position, const From*, const To*)) {
    To piece[kPiece + kStepRoom];
    const To* const piece_end = piece + kPiece;
    Position at{text, piece};
    while (at.from != end) {
        at = convert_blocks(at, end, piece_end);
        const From* const stop = at.from + std::min(kStep, end - at.from);
        while (at.from < stop)
            kConvertOne(at);
        if (at.from == end || piece_end - at.to < kBlockRoom) {
            result.append(piece, at.to);
            at.to = piece;
        }
    }
}

}  // namespace

std::wstring DecodeUtf8(const char* text, const BlockConverters& blocks) {
    const auto* const begin = reinterpret_cast<const unsigned char*>(text);
    const unsigned char* const end = begin + std::strlen(text);
    if (IsAscii(begin, end))
        return std::wstring(begin, end);
    std::wstring wide;
    wide.reserve(CountUnits(begin, end));
    AppendConverted<&DecodeOne>(wide, begin, end, blocks.decode);
    return wide;
}

std::string EncodeUtf8(const wchar_t* text, const BlockConverters& blocks) {
    const wchar_t* const end = text + std::wcslen(text);
    std::string utf8;
    utf8.reserve(static_cast<std::size_t>(end - text));  // enough for ASCII
    AppendConverted<&EncodeOne>(utf8, text, end, blocks.encode);
    return utf8;
}

}  // namespace kiv::platform
