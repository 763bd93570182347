// Takes the references out of objects that nobody will get to see.
#ifndef KIV_BASE_ARCHIVE_REFERENCE_CUTTER_H_
#define KIV_BASE_ARCHIVE_REFERENCE_CUTTER_H_

#include "kiv/base/object.h"

namespace kiv::internal {

/// Makes the object drop its references to others, by letting it read an archive in which all of
/// them are null and every list of structures is empty, and nothing else is found. An exception of
/// the object ends that early.
void CutReferences(Object& object) noexcept;

}  // namespace kiv::internal

#endif  // KIV_BASE_ARCHIVE_REFERENCE_CUTTER_H_
