// All records of geometry and colour, and the list of them.
//
// Each is a plain struct that may be copied as bytes. The names of the fields are the keys under
// which values are stored, so they never change.
#ifndef KIV_BASE_GEOMETRY_H_
#define KIV_BASE_GEOMETRY_H_

#include <type_traits>

#include "kiv/base/box.h"
#include "kiv/base/color.h"
#include "kiv/base/matrix.h"
#include "kiv/base/plane.h"
#include "kiv/base/pose.h"
#include "kiv/base/quaternion.h"
#include "kiv/base/size.h"
#include "kiv/base/vector.h"

/// Expands `X(Record)` for each record, each of them a name in namespace `kiv`.
// clang-format off
#define KIV_FOR_EACH_RECORD(X)                                                      \
    X(Vector2d) X(Vector2f) X(Vector2i) X(Vector3d) X(Vector3f) X(Vector3i)         \
    X(Vector4d) X(Vector4f) X(Vector4i) X(Size2d) X(Size2f) X(Size2i)               \
    X(Size3d) X(Size3f) X(Size3i) X(Quaterniond) X(Quaternionf)                     \
    X(Matrix3d) X(Matrix3f) X(Matrix3i) X(Matrix4d) X(Matrix4f) X(Matrix4i)         \
    X(Posed) X(Posef) X(Planed) X(Planef) X(Box2i) X(Box3f) X(Color) X(Colorf)
// clang-format on

namespace kiv {

#define KIV_CHECK_RECORD(Record)                         \
    static_assert(std::is_trivially_copyable_v<Record>); \
    static_assert(std::is_standard_layout_v<Record>);
KIV_FOR_EACH_RECORD(KIV_CHECK_RECORD)
#undef KIV_CHECK_RECORD

}  // namespace kiv

#endif  // KIV_BASE_GEOMETRY_H_
