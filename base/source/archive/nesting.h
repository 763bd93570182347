// The limit on how deeply the data of an archive may be nested: the stack that is left.
#ifndef KIV_BASE_ARCHIVE_NESTING_H_
#define KIV_BASE_ARCHIVE_NESTING_H_

#include <stdexcept>

#include "platform/stackRoom.h"

namespace kiv::internal {

/// Asked once a level by each recursion over objects or nodes. Throws `std::runtime_error`, which
/// the front ends log and turn into `Status::Failure`.
inline void RequireRoomToNest() {
    if (!HasStackRoom())
        throw std::runtime_error("Objects are nested too deeply for the stack that is left");
}

}  // namespace kiv::internal

#endif  // KIV_BASE_ARCHIVE_NESTING_H_
