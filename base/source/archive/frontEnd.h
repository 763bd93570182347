// What the front ends of the archives share.
#ifndef KIV_BASE_ARCHIVE_FRONT_END_H_
#define KIV_BASE_ARCHIVE_FRONT_END_H_

#include "kiv/base/status.h"

namespace kiv::internal {

/// The name of the one object that a front end stores.
inline constexpr char kRootName[] = "Object";

/// `status` may be null.
inline void Report(Status* status, const Status& result) {
    if (status)
        *status = result;
}

}  // namespace kiv::internal

#endif  // KIV_BASE_ARCHIVE_FRONT_END_H_
