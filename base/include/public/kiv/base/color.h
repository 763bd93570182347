// Colours, as bytes and as numbers. Blue lies first in memory, while every stored form lists r, g,
// b and a; a default colour is transparent.
//
// `Color` is compared exactly, `Colorf` within a tolerance of 1e-6 in each channel.
#ifndef KIV_BASE_COLOR_H_
#define KIV_BASE_COLOR_H_

#include <cstddef>

#include "kiv/base/integers.h"
#include "kiv/base/tolerance.h"

namespace kiv {

#define KIV_COLOR(Name, Channel)                                                    \
    struct Name {                                                                   \
        Channel b = 0;                                                              \
        Channel g = 0;                                                              \
        Channel r = 0;                                                              \
        Channel a = 0;                                                              \
                                                                                    \
        constexpr bool operator==(const Name& other) const {                        \
            return detail::IsNear(r, other.r) && detail::IsNear(g, other.g) &&      \
                   detail::IsNear(b, other.b) && detail::IsNear(a, other.a);        \
        }                                                                           \
    };                                                                              \
    static_assert(sizeof(Name) == 4 * sizeof(Channel));                             \
    static_assert(offsetof(Name, b) == 0 && offsetof(Name, g) == sizeof(Channel) && \
                  offsetof(Name, r) == 2 * sizeof(Channel) &&                       \
                  offsetof(Name, a) == 3 * sizeof(Channel));

KIV_COLOR(Color, uint8)
KIV_COLOR(Colorf, float)

#undef KIV_COLOR

}  // namespace kiv

#endif  // KIV_BASE_COLOR_H_
