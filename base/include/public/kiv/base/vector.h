// Vectors of two, three and four numbers: `Vector3f` and its like, with d for double, f for float
// and i for int32. They hold numbers and do next to no arithmetic; a default one is all zeros.
//
// Vectors of d and f are equal within a tolerance of 1e-6 in each component.
#ifndef KIV_BASE_VECTOR_H_
#define KIV_BASE_VECTOR_H_

#include <cmath>
#include <cstddef>

#include "kiv/base/integers.h"
#include "kiv/base/tolerance.h"

namespace kiv {

// Macros and not templates: each record is a class of its own, whose name is stored with its
// values.
#define KIV_VECTOR2(Name, Scalar)                                        \
    struct Name {                                                        \
        Scalar x = 0;                                                    \
        Scalar y = 0;                                                    \
                                                                         \
        friend constexpr bool operator==(const Name& a, const Name& b) { \
            return detail::IsNear(a.x, b.x) && detail::IsNear(a.y, b.y); \
        }                                                                \
    };                                                                   \
    static_assert(sizeof(Name) == 2 * sizeof(Scalar));                   \
    static_assert(offsetof(Name, x) == 0 && offsetof(Name, y) == sizeof(Scalar));

#define KIV_VECTOR3(Name, Scalar, Operations)                                      \
    struct Name {                                                                  \
        Scalar x = 0;                                                              \
        Scalar y = 0;                                                              \
        Scalar z = 0;                                                              \
                                                                                   \
        Operations                                                                 \
                                                                                   \
            friend constexpr bool                                                  \
            operator==(const Name& a, const Name& b) {                             \
            return detail::IsNear(a.x, b.x) && detail::IsNear(a.y, b.y) &&         \
                   detail::IsNear(a.z, b.z);                                       \
        }                                                                          \
    };                                                                             \
    static_assert(sizeof(Name) == 3 * sizeof(Scalar));                             \
    static_assert(offsetof(Name, x) == 0 && offsetof(Name, y) == sizeof(Scalar) && \
                  offsetof(Name, z) == 2 * sizeof(Scalar));

#define KIV_VECTOR4(Name, Scalar)                                                  \
    struct Name {                                                                  \
        Scalar x = 0;                                                              \
        Scalar y = 0;                                                              \
        Scalar z = 0;                                                              \
        Scalar w = 0;                                                              \
                                                                                   \
        friend constexpr bool operator==(const Name& a, const Name& b) {           \
            return detail::IsNear(a.x, b.x) && detail::IsNear(a.y, b.y) &&         \
                   detail::IsNear(a.z, b.z) && detail::IsNear(a.w, b.w);           \
        }                                                                          \
    };                                                                             \
    static_assert(sizeof(Name) == 4 * sizeof(Scalar));                             \
    static_assert(offsetof(Name, x) == 0 && offsetof(Name, y) == sizeof(Scalar) && \
                  offsetof(Name, z) == 2 * sizeof(Scalar) &&                       \
                  offsetof(Name, w) == 3 * sizeof(Scalar));

// The vector over its length, as a new one. Zero length is not looked for, and gives NaN.
#define KIV_VECTOR3_NORMALIZE(Name)                           \
    [[nodiscard]] Name Normalize() const {                    \
        const auto length = std::sqrt(x * x + y * y + z * z); \
        return {x / length, y / length, z / length};          \
    }

KIV_VECTOR2(Vector2d, double)
KIV_VECTOR2(Vector2f, float)
KIV_VECTOR2(Vector2i, int32)
KIV_VECTOR3(Vector3d, double, KIV_VECTOR3_NORMALIZE(Vector3d))
KIV_VECTOR3(Vector3f, float, KIV_VECTOR3_NORMALIZE(Vector3f))
KIV_VECTOR3(Vector3i, int32, )
KIV_VECTOR4(Vector4d, double)
KIV_VECTOR4(Vector4f, float)
KIV_VECTOR4(Vector4i, int32)

#undef KIV_VECTOR2
#undef KIV_VECTOR3
#undef KIV_VECTOR4
#undef KIV_VECTOR3_NORMALIZE

}  // namespace kiv

#endif  // KIV_BASE_VECTOR_H_
