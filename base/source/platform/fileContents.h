// What is in a plain file: how much, a view of it in memory, and writing it as a whole. What is no
// plain file is refused.
#ifndef KIV_BASE_PLATFORM_FILE_CONTENTS_H_
#define KIV_BASE_PLATFORM_FILE_CONTENTS_H_

#include <optional>

#include "kiv/base/file.h"

namespace kiv::platform {

enum class ViewAccess { Read, ReadWrite, ReadExecute };

/// Nothing if the file can't be asked, and for an invalid handle.
std::optional<uint64> ContentsSize(FileHandle file);

/// A view of the first `size` bytes, not 0, that shows the file itself: what is written by one is
/// seen by all. It does not need the handle any more. Null if the system or the access of the
/// handle does not allow it.
uint8* MapContents(FileHandle file, uint64 size, ViewAccess access);
void UnmapContents(uint8* view, uint64 size);

/// Makes sure that there is space for `size` bytes, not 0: a shorter file is extended with zeros.
bool ReserveContents(FileHandle file, uint64 size);

/// Writes from `offset` of the file on, from the first byte to the last, and leaves what lies
/// before and behind. Memory at `data` that can't be read is a failure.
bool WriteContents(FileHandle file, uint64 offset, const uint8* data, uint64 size);

/// Waits until contents and size of the file are on the disk, or of a directory, the names in it.
bool SyncContents(FileHandle file);

}  // namespace kiv::platform

#endif  // KIV_BASE_PLATFORM_FILE_CONTENTS_H_
