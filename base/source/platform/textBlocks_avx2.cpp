#include "platform/textBlocks.h"

#if defined(__x86_64__) && __SIZEOF_WCHAR_T__ == 4

#include <array>
#include <cstddef>

#include <immintrin.h>

#include "kiv/base/integers.h"

#define KIV_AVX2 [[gnu::target("avx2,popcnt")]]

namespace kiv::platform {
namespace {

using Bytes = uint8 __attribute__((vector_size(16)));
using Lanes16 = uint16 __attribute__((vector_size(32)));
using Lanes32 = int32 __attribute__((vector_size(32)));

using Shuffle = std::array<unsigned char, 16>;
using Shuffles = std::array<Shuffle, 256>;

// By the mask of the lanes to keep: moves these, of 16 bits each, to the front.
constexpr Shuffles MakeSqueezes() {
    Shuffles squeezes{};
    for (unsigned keep = 0; keep < squeezes.size(); ++keep) {
        std::size_t to = 0;
        for (unsigned lane = 0; lane < 8; ++lane) {
            if ((keep >> lane & 1) == 0)
                continue;
            squeezes[keep][to++] = static_cast<unsigned char>(2 * lane);
            squeezes[keep][to++] = static_cast<unsigned char>(2 * lane + 1);
        }
    }
    return squeezes;
}

// By the mask of the lanes with two bytes or three, and above it of those with three: moves the
// bytes of four lanes, of 32 bits each, together. The last byte of a character is the lowest.
constexpr Shuffles MakePacks() {
    Shuffles packs{};
    for (unsigned lengths = 0; lengths < packs.size(); ++lengths) {
        std::size_t to = 0;
        for (unsigned lane = 0; lane < 4; ++lane) {
            const unsigned length = 1 + (lengths >> lane & 1) + (lengths >> (lane + 4) & 1);
            for (unsigned byte = length; byte-- > 0;)
                packs[lengths][to++] = static_cast<unsigned char>(4 * lane + byte);
        }
    }
    return packs;
}

alignas(64) constexpr Shuffles kSqueezes = MakeSqueezes();
alignas(64) constexpr Shuffles kPacks = MakePacks();

KIV_AVX2 __m128i Load16(const void* from) {
    return _mm_loadu_si128(static_cast<const __m128i*>(from));
}

KIV_AVX2 __m256i Load32(const void* from) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}

KIV_AVX2 void Store16(void* to, __m128i bytes) {
    _mm_storeu_si128(static_cast<__m128i*>(to), bytes);
}

KIV_AVX2 void Store32(void* to, __m256i bytes) {
    _mm256_storeu_si256(static_cast<__m256i*>(to), bytes);
}

KIV_AVX2 __m128i LowHalf(__m256i bytes) {
    return _mm256_castsi256_si128(bytes);
}

KIV_AVX2 __m128i HighHalf(__m256i bytes) {
    return _mm256_extracti128_si256(bytes, 1);
}

KIV_AVX2 __m256i Select(__m256i condition, __m256i then, __m256i otherwise) {
    return _mm256_blendv_epi8(otherwise, then, condition);
}

KIV_AVX2 Lanes16 Widened(__m128i bytes) {
    return (Lanes16)_mm256_cvtepu8_epi16(bytes);
}

KIV_AVX2 uint32 Mask(__m128i bytes) {
    return static_cast<uint32>(_mm_movemask_epi8(bytes));
}

KIV_AVX2 uint32 Mask(Lanes32 lanes) {
    return static_cast<uint32>(_mm256_movemask_ps((__m256)lanes));
}

KIV_AVX2 bool IsZero(__m256i bits) {
    return _mm256_testz_si256(bits, bits);
}

KIV_AVX2 __m128i Shuffled(__m128i bytes, const Shuffle& shuffle) {
    return _mm_shuffle_epi8(bytes,
                            _mm_load_si128(reinterpret_cast<const __m128i*>(shuffle.data())));
}

// The same number in all lanes. GCC takes a constant that it knows for cheap and makes it anew in
// each round of a loop, so it must not know this one.
KIV_AVX2 Lanes32 Everywhere(int32 number) {
    __m256i lanes = _mm256_set1_epi32(number);
    asm("" : "+x"(lanes));
    return (Lanes32)lanes;
}

KIV_AVX2 Lanes16 Everywhere16(uint16 number) {
    return (Lanes16)Everywhere(static_cast<int32>(number * 0x10001u));
}

KIV_AVX2 Bytes EverywhereByte(uint8 number) {
    return (Bytes)LowHalf((__m256i)Everywhere16(static_cast<uint16>(number * 0x101u)));
}

KIV_AVX2 void StoreAscii(wchar_t* to, const unsigned char* from) {
    for (int i = 0; i < 32; i += 8)
        Store32(to + i,
                _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(from + i))));
}

// Stores those of 8 units that the mask names.
KIV_AVX2 wchar_t* StoreSqueezed(wchar_t* to, __m128i units, uint32 keep) {
    Store32(to, _mm256_cvtepu16_epi32(Shuffled(units, kSqueezes[keep])));
    return to + __builtin_popcount(keep);
}

// Stores what four lanes hold, with the lengths as kPacks wants them.
KIV_AVX2 char* StorePacked(char* to, __m128i lanes, uint32 lengths) {
    Store16(to, Shuffled(lanes, kPacks[lengths]));
    return to + 4 + __builtin_popcount(lengths);
}

// At each position of a block stands the unit that a character beginning there would have, and
// those where none begins are squeezed out. Nothing branches on the script of the text, which
// changes too often to be foreseen.
KIV_AVX2 DecodePosition DecodeBlocks(DecodePosition start, const unsigned char* end,
                                     const wchar_t* to_end) {
    const Bytes no_lead = EverywhereByte(0xBF);
    const Bytes overlong_two = EverywhereByte(0xC1);
    const Bytes lead_of_three = EverywhereByte(0xE0);
    const Bytes before_four = EverywhereByte(0xEF);
    const Lanes16 lead_bits = Everywhere16(0x1F << 6);
    const Lanes16 continued_bits = Everywhere16(0x3F);
    const Lanes16 top_bits = Everywhere16(0xF800);
    const Lanes16 surrogate = Everywhere16(0xD800);

    auto [from, to] = start;
    // The positions of the next block that have to continue characters of the last one.
    uint32 continued = 0;
    // A character that begins in a block of 16 may end two bytes behind it.
    while (end - from >= 32 && to_end - to >= kBlockRoom) {
        const __m256i two_blocks = Load32(from);
        if (_mm256_movemask_epi8(two_blocks) == 0 && continued == 0) {
            StoreAscii(to, from);
            from += 32;
            to += 32;
            continue;
        }

        const __m128i block = LowHalf(two_blocks);
        const auto bytes = (Bytes)block;
        const auto is_three_or_more = (__m128i)(bytes >= lead_of_three);
        const uint32 leads = Mask((__m128i)(bytes > no_lead));
        const uint32 continuing = Mask(block) & ~leads;
        const uint32 expected = leads << 1 | Mask(is_three_or_more) << 2 | continued;

        const Lanes16 first = Widened(block);
        const Lanes16 second = Widened(Load16(from + 1)) & continued_bits;
        const Lanes16 third = Widened(Load16(from + 2)) & continued_bits;
        const Lanes16 two = (first << 6 & lead_bits) | second;
        const Lanes16 three = first << 12 | second << 6 | third;
        const __m256i is_three = _mm256_cvtepi8_epi16(is_three_or_more);
        const __m256i is_long = _mm256_cvtepi8_epi16(block);
        const __m256i units =
            Select(is_three, (__m256i)three, Select(is_long, (__m256i)two, (__m256i)first));

        const Lanes16 top = three & top_bits;
        const __m256i bad_three = is_three & (__m256i)((top == 0) | (top == surrogate));
        const __m128i bad_lead =
            (__m128i)((bytes > before_four) | ((bytes > no_lead) & (bytes <= overlong_two)));
        if ((expected & 0xFFFF) != continuing ||
            !IsZero(bad_three | _mm256_zextsi128_si256(bad_lead)))
            break;

        to = StoreSqueezed(to, LowHalf(units), ~continuing & 0xFF);
        to = StoreSqueezed(to, HighHalf(units), ~continuing >> 8 & 0xFF);
        from += 16;
        continued = expected >> 16;
    }
    // A character whose end nobody has looked at is given back.
    if (continued != 0) {
        --to;
        do
            --from;
        while (*from <= 0xBF);
    }
    return {from, to};
}

KIV_AVX2 EncodePosition EncodeBlocks(EncodePosition start, const wchar_t* end, const char* to_end) {
    const Lanes32 beyond_ascii = Everywhere(~0x7F);
    const Lanes32 beyond_units = Everywhere(~0xFFFF);
    const Lanes32 one_byte = Everywhere(0x7F);
    const Lanes32 two_bytes = Everywhere(0x7FF);
    const Lanes32 top_bits = Everywhere(~0x7FF);
    const Lanes32 surrogate = Everywhere(0xD800);
    const Lanes32 last_bits = Everywhere(0x3F);
    const Lanes32 middle_bits = Everywhere(0x3F00);
    const Lanes32 first_bits = Everywhere(0xF0000);
    const Lanes32 tags_of_two = Everywhere(0xC080);
    const Lanes32 to_tags_of_three = Everywhere(0xC080 ^ 0xE08080);

    auto [from, to] = start;
    while (end - from >= 32 && to_end - to >= kBlockRoom) {
        const __m256i a = Load32(from);
        const __m256i b = Load32(from + 8);
        const __m256i c = Load32(from + 16);
        const __m256i d = Load32(from + 24);
        if (_mm256_testz_si256(a | b | c | d, (__m256i)beyond_ascii)) {
            const __m256i packed =
                _mm256_packus_epi16(_mm256_packus_epi32(a, b), _mm256_packus_epi32(c, d));
            // The two halves were packed apart.
            const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
            Store32(to, _mm256_permutevar8x32_epi32(packed, order));
            from += 32;
            to += 32;
            continue;
        }

        for (int i = 0; i < 4; ++i) {
            const auto units = (Lanes32)Load32(from);
            if (!IsZero((__m256i)(((units & top_bits) == surrogate) | (units & beyond_units))))
                return {from, to};
            const Lanes32 is_long = units > one_byte;
            const Lanes32 is_three = units > two_bytes;
            const Lanes32 fields =
                (units & last_bits) | (units << 2 & middle_bits) | (units << 4 & first_bits);
            const Lanes32 tags = tags_of_two ^ (is_three & to_tags_of_three);
            const __m256i lanes =
                Select((__m256i)is_long, (__m256i)(fields | tags), (__m256i)units);
            const uint32 longs = Mask(is_long);
            const uint32 threes = Mask(is_three);
            to = StorePacked(to, LowHalf(lanes), (longs & 0xF) | (threes & 0xF) << 4);
            to = StorePacked(to, HighHalf(lanes), longs >> 4 | (threes & 0xF0));
            from += 8;
        }
    }
    return {from, to};
}

constexpr BlockConverters kBlocks = {&DecodeBlocks, &EncodeBlocks};

}  // namespace

const BlockConverters* Avx2Blocks() {
    const bool has_both = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("popcnt");
    return has_both ? &kBlocks : nullptr;
}

}  // namespace kiv::platform

#else

namespace kiv::platform {

const BlockConverters* Avx2Blocks() {
    return nullptr;
}

}  // namespace kiv::platform

#endif
