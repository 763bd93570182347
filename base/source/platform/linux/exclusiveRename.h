// A rename that replaces nothing.
#ifndef KIV_BASE_PLATFORM_LINUX_EXCLUSIVE_RENAME_H_
#define KIV_BASE_PLATFORM_LINUX_EXCLUSIVE_RENAME_H_

namespace kiv::platform {

/// Fails if anything is at `to`, also where the file system can't promise that by itself. `errno`
/// tells why; with EXDEV the two are on different file systems.
bool RenameExclusively(int from_directory, const char* from, int to_directory, const char* to);

}  // namespace kiv::platform

#endif  // KIV_BASE_PLATFORM_LINUX_EXCLUSIVE_RENAME_H_
