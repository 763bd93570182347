// Goes through the references that an object holds, which nothing but its own `operator<<` knows.
#ifndef KIV_BASE_ARCHIVE_REFERENCE_WALK_H_
#define KIV_BASE_ARCHIVE_REFERENCE_WALK_H_

#include <functional>

#include "kiv/base/object.h"

namespace kiv::internal {

/// Makes the object drop its references to others, by letting it read an archive in which all of
/// them are null and every list of structures is empty, and nothing else is found. An exception of
/// the object ends that early.
void CutReferences(Object& object) noexcept;

/// Is given an object or null.
using ReferenceVisitor = std::function<void(Object*)>;

/// Calls `visit` for each owning reference that the object would write to an archive. Passes on
/// what the object throws.
void VisitReferences(Object& object, const ReferenceVisitor& visit);

}  // namespace kiv::internal

#endif  // KIV_BASE_ARCHIVE_REFERENCE_WALK_H_
