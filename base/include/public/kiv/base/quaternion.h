// Rotations as quaternions, equal within a tolerance of 1e-6 in each component. A default one is
// all zeros, and so no rotation at all.
#ifndef KIV_BASE_QUATERNION_H_
#define KIV_BASE_QUATERNION_H_

#include <cstddef>

#include "kiv/base/tolerance.h"

namespace kiv {

#define KIV_QUATERNION(Name, Scalar)                                               \
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

KIV_QUATERNION(Quaterniond, double)
KIV_QUATERNION(Quaternionf, float)

#undef KIV_QUATERNION

}  // namespace kiv

#endif  // KIV_BASE_QUATERNION_H_
