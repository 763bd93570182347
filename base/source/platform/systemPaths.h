// The paths that only the system knows, and the one change to its tree that paths need.
#ifndef KIV_BASE_PLATFORM_SYSTEM_PATHS_H_
#define KIV_BASE_PLATFORM_SYSTEM_PATHS_H_

#include <string>

#include "kiv/base/optional.h"
#include "platform/pathRules.h"

namespace kiv::platform {

/// The kind of path that this system takes.
PathStyle NativePathStyle();

/// `path` seen from the current directory, folded; empty if that can't be told. It has no NUL.
std::string AbsolutePath(const std::string& path);

/// The path as the narrow functions of this system want it.
std::string LocalPath(const std::string& path);

/// Makes the directory, unless something of that name is there; its parent is. True if something is
/// there now. The path has no NUL.
bool MakeDirectoryUnlessPresent(const std::string& path);

/// The file that this process runs, whole, or nothing.
optional<std::string> ExecutablePath();

/// The user's own directory for the data of programs, which may not exist; empty without one.
std::string UserDataDirectory();

}  // namespace kiv::platform

#endif  // KIV_BASE_PLATFORM_SYSTEM_PATHS_H_
