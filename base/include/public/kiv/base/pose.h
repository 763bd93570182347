// A place and a rotation, compared as the two are.
#ifndef KIV_BASE_POSE_H_
#define KIV_BASE_POSE_H_

#include <cstddef>

#include "kiv/base/quaternion.h"
#include "kiv/base/vector.h"

namespace kiv {

#define KIV_POSE(Name, Position, Rotation)                              \
    struct Name {                                                       \
        Position position;                                              \
        Rotation rotation;                                              \
                                                                        \
        constexpr bool operator==(const Name& other) const = default;   \
    };                                                                  \
    static_assert(sizeof(Name) == sizeof(Position) + sizeof(Rotation)); \
    static_assert(offsetof(Name, position) == 0 && offsetof(Name, rotation) == sizeof(Position));

KIV_POSE(Posed, Vector3d, Quaterniond)
KIV_POSE(Posef, Vector3f, Quaternionf)

#undef KIV_POSE

}  // namespace kiv

#endif  // KIV_BASE_POSE_H_
