// Square matrices by columns, compared as their columns are. A default one is all zeros, and so not
// the identity.
#ifndef KIV_BASE_MATRIX_H_
#define KIV_BASE_MATRIX_H_

#include <cstddef>

#include "kiv/base/vector.h"

namespace kiv {

#define KIV_MATRIX3(Name, Column)                                                        \
    struct Name {                                                                        \
        Column col0;                                                                     \
        Column col1;                                                                     \
        Column col2;                                                                     \
                                                                                         \
        constexpr bool operator==(const Name& other) const = default;                    \
    };                                                                                   \
    static_assert(sizeof(Name) == 3 * sizeof(Column));                                   \
    static_assert(offsetof(Name, col0) == 0 && offsetof(Name, col1) == sizeof(Column) && \
                  offsetof(Name, col2) == 2 * sizeof(Column));

#define KIV_MATRIX4(Name, Column)                                                        \
    struct Name {                                                                        \
        Column col0;                                                                     \
        Column col1;                                                                     \
        Column col2;                                                                     \
        Column col3;                                                                     \
                                                                                         \
        constexpr bool operator==(const Name& other) const = default;                    \
    };                                                                                   \
    static_assert(sizeof(Name) == 4 * sizeof(Column));                                   \
    static_assert(offsetof(Name, col0) == 0 && offsetof(Name, col1) == sizeof(Column) && \
                  offsetof(Name, col2) == 2 * sizeof(Column) &&                          \
                  offsetof(Name, col3) == 3 * sizeof(Column));

KIV_MATRIX3(Matrix3d, Vector3d)
KIV_MATRIX3(Matrix3f, Vector3f)
KIV_MATRIX3(Matrix3i, Vector3i)
KIV_MATRIX4(Matrix4d, Vector4d)
KIV_MATRIX4(Matrix4f, Vector4f)
KIV_MATRIX4(Matrix4i, Vector4i)

#undef KIV_MATRIX3
#undef KIV_MATRIX4

}  // namespace kiv

#endif  // KIV_BASE_MATRIX_H_
