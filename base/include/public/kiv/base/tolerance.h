// The equality of numbers that were computed, as the records of vectors, rotations and colours use
// it.
#ifndef KIV_BASE_TOLERANCE_H_
#define KIV_BASE_TOLERANCE_H_

#include <concepts>

namespace kiv::detail {

/// Equal if the two differ by less than 1e-6, in their own type; whole numbers, if they are the
/// same. The tolerance is absolute, so the relation is not transitive, and NaN equals nothing.
template <class Scalar>
constexpr bool IsNear(Scalar a, Scalar b) {
    if constexpr (std::floating_point<Scalar>)
        return (a < b ? b - a : a - b) < static_cast<Scalar>(1e-6);
    else
        return a == b;
}

}  // namespace kiv::detail

#endif  // KIV_BASE_TOLERANCE_H_
