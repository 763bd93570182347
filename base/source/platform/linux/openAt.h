// The way in which every file of this folder asks for a path below an open directory.
#ifndef KIV_BASE_PLATFORM_LINUX_OPEN_AT_H_
#define KIV_BASE_PLATFORM_LINUX_OPEN_AT_H_

#include <algorithm>
#include <cerrno>

#include <fcntl.h>

#include "kiv/base/file.h"

namespace kiv::platform {

/// Makes the call again for as long as a signal breaks it off. Not for `close`, which has let go of
/// the descriptor by then.
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

/// `errno` says why the result is invalid.
inline UniqueFD OpenAt(int directory, const char* path, int flags, mode_t mode = 0) {
    return UniqueFD(AgainAfterSignal(
        [=] { return ::openat(directory, path, flags | O_CLOEXEC | O_NOCTTY, mode); }));
}

}  // namespace kiv::platform

#endif  // KIV_BASE_PLATFORM_LINUX_OPEN_AT_H_
