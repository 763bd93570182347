// A plane by its normal and its distance from the origin. Normals are equal within a tolerance of
// 1e-6 in each component, distances exactly.
#ifndef KIV_BASE_PLANE_H_
#define KIV_BASE_PLANE_H_

#include <cstddef>

#include "kiv/base/vector.h"

namespace kiv {

#define KIV_PLANE(Name, Normal, Scalar)                               \
    struct Name {                                                     \
        Normal normal;                                                \
        Scalar distance = 0;                                          \
                                                                      \
        constexpr bool operator==(const Name& other) const = default; \
    };                                                                \
    static_assert(sizeof(Name) == sizeof(Normal) + sizeof(Scalar));   \
    static_assert(offsetof(Name, normal) == 0 && offsetof(Name, distance) == sizeof(Normal));

KIV_PLANE(Planed, Vector3d, double)
KIV_PLANE(Planef, Vector3f, float)

#undef KIV_PLANE

}  // namespace kiv

#endif  // KIV_BASE_PLANE_H_
