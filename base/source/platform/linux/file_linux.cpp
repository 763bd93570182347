#include <limits>

#include <sys/stat.h>
#include <unistd.h>

#include "kiv/base/file.h"
#include "platform/linux/openAt.h"
#include "platform/pathRules.h"

namespace kiv {

using platform::AgainAfterSignal;
using platform::DirectoryOf;
using platform::OpenAt;
using platform::PathBelow;

namespace {

constexpr mode_t kNewDirectory = 0777;

int AccessOf(FilePermission permission) {
    switch (permission) {
        case FilePermission::Write:
            return O_WRONLY;
        case FilePermission::ReadWrite:
            return O_RDWR;
        default:
            return O_RDONLY;
    }
}

bool IsPlainFile(int directory, const char* path) {
    struct stat status;
    return ::fstatat(directory, path, &status, 0) == 0 && S_ISREG(status.st_mode);
}

// A pipe without another end would hold up the open, so that is told not to wait. Reading and
// writing wait: a handle keeps none of the flags that can be set later.
UniqueFD OpenFileAt(int directory, const char* path, bool create, FilePermission permission) {
    const int flags = AccessOf(permission) | (create ? O_CREAT : 0);
    UniqueFD file = OpenAt(directory, path, flags | O_NONBLOCK);
    // Another process holds a lease on this plain file, and is given the time to let go of it.
    if (!file.is_valid() && errno == EWOULDBLOCK && IsPlainFile(directory, path))
        file = OpenAt(directory, path, flags);
    struct stat status;
    if (!file.is_valid() || ::fstat(file.get(), &status) != 0 || S_ISDIR(status.st_mode) ||
        ::fcntl(file.get(), F_SETFL, 0) != 0)
        return UniqueFD();
    return file;
}

UniqueFD OpenDirectoryAt(int directory, const char* path, bool create) {
    if (create && ::mkdirat(directory, path, kNewDirectory) != 0 && errno != EEXIST)
        return UniqueFD();
    // Nothing else can be asked of a directory's handle than to read it.
    return OpenAt(directory, path, O_RDONLY | O_DIRECTORY);
}

bool IsDirectoryMode(int result, const struct stat& status) {
    return result == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

void internal::oslinux::UniqueFDTraits::Free_Handle(FileHandle handle) {
    ::close(handle);
}

UniqueFD OpenFile(const char* path, bool create, FilePermission permission) {
    if (path == nullptr || *path == '\0')
        return UniqueFD();
    return OpenFileAt(AT_FDCWD, path, create, permission);
}

UniqueFD OpenFile(const UniqueFD& base, const char* path, bool create, FilePermission permission) {
    if (path == nullptr)
        return UniqueFD();
    return OpenFileAt(DirectoryOf(base), PathBelow(path), create, permission);
}

UniqueFD OpenDirectory(const char* path, bool create, FilePermission) {
    if (path == nullptr || *path == '\0')
        return UniqueFD();
    return OpenDirectoryAt(AT_FDCWD, path, create);
}

UniqueFD OpenDirectory(const UniqueFD& base, const char* path, bool create, FilePermission) {
    if (path == nullptr)
        return UniqueFD();
    return OpenDirectoryAt(DirectoryOf(base), PathBelow(path), create);
}

UniqueFD Duplicate(FileHandle handle) {
    return UniqueFD(::fcntl(handle, F_DUPFD_CLOEXEC, 0));
}

bool IsDirectory(const UniqueFD& directory) {
    struct stat status;
    return IsDirectoryMode(::fstat(directory.get(), &status), status);
}

bool IsDirectory(const UniqueFD& base, const char* path) {
    struct stat status;
    return path != nullptr &&
           IsDirectoryMode(::fstatat(DirectoryOf(base), PathBelow(path), &status, 0), status);
}

bool FileExists(const UniqueFD& base, const char* path) {
    struct stat status;
    return path != nullptr &&
           ::fstatat(DirectoryOf(base), PathBelow(path), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

bool IsFile(const std::string& path) {
    struct stat status;
    return !platform::HasNul(path) && ::lstat(path.c_str(), &status) == 0 &&
           S_ISREG(status.st_mode);
}

bool TruncateFile(const UniqueFD& file, uint64 size) {
    return size <= static_cast<uint64>(std::numeric_limits<off_t>::max()) &&
           AgainAfterSignal([&] { return ::ftruncate(file.get(), static_cast<off_t>(size)); }) == 0;
}

bool UnlinkFile(const char* path) {
    return path != nullptr && ::unlinkat(AT_FDCWD, path, 0) == 0;
}

bool UnlinkFile(const UniqueFD& base, const char* path) {
    return path != nullptr && ::unlinkat(DirectoryOf(base), path, 0) == 0;
}

bool UnlinkDirectory(const char* path) {
    return path != nullptr && ::unlinkat(AT_FDCWD, path, AT_REMOVEDIR) == 0;
}

bool UnlinkDirectory(const UniqueFD& base, const char* path) {
    return path != nullptr && ::unlinkat(DirectoryOf(base), path, AT_REMOVEDIR) == 0;
}

}  // namespace kiv
