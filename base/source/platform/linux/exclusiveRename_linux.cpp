#include <cerrno>
#include <cstdio>

#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/exclusiveRename.h"
#include "platform/linux/openAt.h"

namespace kiv::platform {
namespace {

struct Rename {
    int from_directory;
    const char* from;
    int to_directory;
    const char* to;
};

// Takes back what was made at the new name, and keeps the reason.
bool Undo(const Rename& rename, int flags) {
    const int error = errno;
    ::unlinkat(rename.to_directory, rename.to, flags);
    errno = error;
    return false;
}

// A directory takes the place of an empty one only, so an own one may hold the place.
bool RenameDirectory(const Rename& rename) {
    if (::mkdirat(rename.to_directory, rename.to, 0700) != 0)
        return false;
    return ::renameat(rename.from_directory, rename.from, rename.to_directory, rename.to) == 0 ||
           Undo(rename, AT_REMOVEDIR);
}

// A second name is given only where there is none yet.
bool RenameByLink(const Rename& rename) {
    if (::linkat(rename.from_directory, rename.from, rename.to_directory, rename.to, 0) != 0)
        return false;
    return ::unlinkat(rename.from_directory, rename.from, 0) == 0 || Undo(rename, 0);
}

// An empty file holds the place.
bool RenameOntoOwnFile(const Rename& rename) {
    if (!OpenAt(rename.to_directory, rename.to, O_WRONLY | O_CREAT | O_EXCL, 0600).is_valid())
        return false;
    return ::renameat(rename.from_directory, rename.from, rename.to_directory, rename.to) == 0 ||
           Undo(rename, 0);
}

bool HasNoSecondNames(int error) {
    return error == EPERM || error == EOPNOTSUPP || error == ENOSYS || error == EMLINK;
}

}  // namespace

bool RenameExclusively(int from_directory, const char* from, int to_directory, const char* to) {
    if (::renameat2(from_directory, from, to_directory, to, RENAME_NOREPLACE) == 0)
        return true;
    struct stat status;
    if ((errno != EINVAL && errno != ENOSYS) ||
        ::fstatat(from_directory, from, &status, AT_SYMLINK_NOFOLLOW) != 0)
        return false;
    const Rename rename{from_directory, from, to_directory, to};
    if (S_ISDIR(status.st_mode))
        return RenameDirectory(rename);
    return RenameByLink(rename) || (HasNoSecondNames(errno) && RenameOntoOwnFile(rename));
}

}  // namespace kiv::platform
