// The way in which every file of this folder asks for a path below an open directory.
#ifndef KIV_BASE_PLATFORM_LINUX_OPEN_AT_H_
#define KIV_BASE_PLATFORM_LINUX_OPEN_AT_H_

#include <algorithm>
#include <cerrno>

#include <fcntl.h>

#include "kiv/base/file.h"

namespace kiv::platform {

/// Of a new file, less what the mask of the process takes off.
constexpr mode_t kNewFile = 0666;
/// What one file takes over from another's mode: not the bits that let a program run as its owner.
constexpr mode_t kPermissions = 0777;

/// Makes the call again for as long as a signal breaks it off. Only for what can be repeated: not
/// for `close`, which has let go of the descriptor by then, and not for `unlinkat`, whose name may
/// be gone by then, or be another file's.
template <class Call>
auto AgainAfterSignal(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR)
        result = call();
    return result;
}

/// `base` for the calls that take a directory: they refuse -1 below a relative path, but another
/// negative number may have a meaning, such as the working directory.
inline int DirectoryOf(const UniqueFD& base) {
    return std::max(base.get(), -1);
}

/// The directory itself has no name below it but this one.
inline const char* PathBelow(const char* path) {
    return *path == '\0' ? "." : path;
}

/// `errno` says why the result is invalid. The mode is that of a file that it makes.
inline UniqueFD OpenAt(int directory, const char* path, int flags, mode_t mode = kNewFile) {
    return UniqueFD(AgainAfterSignal(
        [=] { return ::openat(directory, path, flags | O_CLOEXEC | O_NOCTTY, mode); }));
}

}  // namespace kiv::platform

#endif  // KIV_BASE_PLATFORM_LINUX_OPEN_AT_H_
