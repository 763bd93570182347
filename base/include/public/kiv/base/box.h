// Boxes along the axes, by their two corners, and compared as these are.
#ifndef KIV_BASE_BOX_H_
#define KIV_BASE_BOX_H_

#include <cstddef>

#include "kiv/base/vector.h"

namespace kiv {

#define KIV_BOX(Name, Corner)                                         \
    struct Name {                                                     \
        Corner min;                                                   \
        Corner max;                                                   \
                                                                      \
        constexpr bool operator==(const Name& other) const = default; \
    };                                                                \
    static_assert(sizeof(Name) == 2 * sizeof(Corner));                \
    static_assert(offsetof(Name, min) == 0 && offsetof(Name, max) == sizeof(Corner));

KIV_BOX(Box2i, Vector2i)
KIV_BOX(Box3f, Vector3f)

#undef KIV_BOX

}  // namespace kiv

#endif  // KIV_BASE_BOX_H_
