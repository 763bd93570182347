// Goes through the references that an object holds, which nothing but its own `operator<<` knows.
#ifndef KIV_BASE_ARCHIVE_REFERENCE_WALK_H_
#define KIV_BASE_ARCHIVE_REFERENCE_WALK_H_

#include <functional>
#include <string>
#include <unordered_map>

#include "kiv/base/object.h"
#include "kiv/base/value.h"

namespace kiv::internal {

/// Makes the object drop its references to others, by letting it read an archive in which all of
/// them are null and every list of structures is empty, and nothing else is found. An exception of
/// the object ends that early. The archive has these options.
void CutReferences(Object& object, const std::unordered_map<std::string, Value>& options) noexcept;

/// Is given an object or null.
using ReferenceVisitor = std::function<void(Object*)>;

/// Calls `visit` for each owning reference that the object would write to an archive. False if the
/// object throws.
bool VisitReferences(Object& object, const std::unordered_map<std::string, Value>& options,
                     const ReferenceVisitor& visit) noexcept;

}  // namespace kiv::internal

#endif  // KIV_BASE_ARCHIVE_REFERENCE_WALK_H_
