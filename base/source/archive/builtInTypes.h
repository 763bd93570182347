// The handlers that the library brings for what a `Value` can hold.
#ifndef KIV_BASE_ARCHIVE_BUILT_IN_TYPES_H_
#define KIV_BASE_ARCHIVE_BUILT_IN_TYPES_H_

namespace kiv {

/// Fills `value_archive_handles_`, which has to exist; runs once, at load.
void RegisterBuiltInArchiveTypes();

}  // namespace kiv

#endif  // KIV_BASE_ARCHIVE_BUILT_IN_TYPES_H_
