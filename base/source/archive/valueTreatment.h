// How a value of a type that is known at run time only passes through an archive.
#ifndef KIV_BASE_ARCHIVE_VALUE_TREATMENT_H_
#define KIV_BASE_ARCHIVE_VALUE_TREATMENT_H_

#include <string>

#include "kiv/base/archiveTypes.h"
#include "kiv/base/value.h"

namespace kiv::internal {

/// How the datum of a stored type is to be treated.
struct Treatment {
    enum Kind : unsigned char { kUnknown, kNone, kHandler, kObject, kObjects };
    Kind kind = kUnknown;
    const ArchiveSerializer<Value>::Handler* handler = nullptr;
};

/// `value` is what a writer writes, and is not looked at for a reader.
Treatment FindTreatment(bool reads, const Value& value, const std::string& typeName);

}  // namespace kiv::internal

#endif  // KIV_BASE_ARCHIVE_VALUE_TREATMENT_H_
