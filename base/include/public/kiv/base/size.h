// Extents in two and three dimensions, compared exactly. Those in three have the field names of a
// vector, which is how they are stored.
#ifndef KIV_BASE_SIZE_H_
#define KIV_BASE_SIZE_H_

#include <cstddef>

#include "kiv/base/integers.h"

namespace kiv {

#define KIV_SIZE2(Name, Scalar)                                       \
    struct Name {                                                     \
        Scalar width = 0;                                             \
        Scalar height = 0;                                            \
                                                                      \
        constexpr bool operator==(const Name& other) const = default; \
    };                                                                \
    static_assert(sizeof(Name) == 2 * sizeof(Scalar));                \
    static_assert(offsetof(Name, width) == 0 && offsetof(Name, height) == sizeof(Scalar));

#define KIV_SIZE3(Name, Scalar)                                                    \
    struct Name {                                                                  \
        Scalar x = 0;                                                              \
        Scalar y = 0;                                                              \
        Scalar z = 0;                                                              \
                                                                                   \
        constexpr bool operator==(const Name& other) const = default;              \
    };                                                                             \
    static_assert(sizeof(Name) == 3 * sizeof(Scalar));                             \
    static_assert(offsetof(Name, x) == 0 && offsetof(Name, y) == sizeof(Scalar) && \
                  offsetof(Name, z) == 2 * sizeof(Scalar));

KIV_SIZE2(Size2d, double)
KIV_SIZE2(Size2f, float)
KIV_SIZE2(Size2i, int32)
KIV_SIZE3(Size3d, double)
KIV_SIZE3(Size3f, float)
KIV_SIZE3(Size3i, int32)

#undef KIV_SIZE2
#undef KIV_SIZE3

}  // namespace kiv

#endif  // KIV_BASE_SIZE_H_
