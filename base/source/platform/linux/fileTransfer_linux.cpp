#include <sys/stat.h>
#include <unistd.h>

#include "kiv/base/file.h"
#include "platform/fileReplacement.h"
#include "platform/linux/exclusiveRename.h"
#include "platform/linux/openAt.h"

namespace kiv {

using platform::AgainAfterSignal;
using platform::Durability;
using platform::Existing;
using platform::FilePlace;
using platform::FileReplacement;

namespace {

constexpr mode_t kPermissions = 0777;

bool WriteAll(int file, const char* bytes, std::size_t size) {
    while (size > 0) {
        const ssize_t written = AgainAfterSignal([=] { return ::write(file, bytes, size); });
        if (written <= 0)
            return false;
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

// To the end of the file, wherever that is: what a virtual file system shows has a size of 0.
bool CopyContents(int from, int to) {
    constexpr std::size_t kAtOnce = std::size_t{1} << 30;
    while (AgainAfterSignal(
               [=] { return ::copy_file_range(from, nullptr, to, nullptr, kAtOnce, 0); }) > 0) {
    }
    // The end, or something that can't be copied so: reading goes on where that stopped, and tells
    // the one from the other.
    char bytes[32 * 1024];
    for (;;) {
        const ssize_t size = AgainAfterSignal([&] { return ::read(from, bytes, sizeof(bytes)); });
        if (size <= 0)
            return size == 0;
        if (!WriteAll(to, bytes, static_cast<std::size_t>(size)))
            return false;
    }
}

bool IsSame(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// A plain file, open for reading, with its status; nothing else is even opened.
UniqueFD OpenPlainFile(const char* path, struct stat& status) {
    if (::stat(path, &status) != 0 || !S_ISREG(status.st_mode))
        return UniqueFD();
    UniqueFD file = OpenFile(path, false, FilePermission::Read);
    if (!file.is_valid() || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return UniqueFD();
    return file;
}

// The permissions come first, so that nobody sees of the contents what the source doesn't show.
bool Copy(const UniqueFD& from, const struct stat& status, const FileReplacement& to) {
    return ::fchmod(to.file().get(), status.st_mode & kPermissions) == 0 &&
           CopyContents(from.get(), to.file().get());
}

bool MayTake(const FilePlace& place, const struct stat& source) {
    struct stat status;
    if (::fstatat(place.directory.get(), place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT;
    return S_ISREG(status.st_mode) && !IsSame(status, source);
}

// The source goes only once its copy is there to stay.
bool MoveToOtherFileSystem(const char* from, const char* to) {
    struct stat named;
    struct stat opened;
    if (::lstat(from, &named) != 0 || !S_ISREG(named.st_mode))
        return false;
    const UniqueFD file = OpenPlainFile(from, opened);
    FileReplacement copy(platform::PlaceOf(to));
    const struct timespec times[] = {opened.st_atim, opened.st_mtim};
    if (!file.is_valid() || !IsSame(named, opened) || !Copy(file, opened, copy) ||
        ::futimens(copy.file().get(), times) != 0 ||
        !copy.Commit(Existing::Keep, Durability::Synced))
        return false;
    if (UnlinkFile(from))
        return true;
    UnlinkFile(to);
    return false;
}

}  // namespace

bool MoveFileOrDirectory(const char* from, const char* to) {
    if (from == nullptr || to == nullptr)
        return false;
    if (platform::RenameExclusively(AT_FDCWD, from, AT_FDCWD, to))
        return true;
    return errno == EXDEV && MoveToOtherFileSystem(from, to);
}

bool CopyFileUtf8(const char* from, const char* to) {
    if (from == nullptr || to == nullptr)
        return false;
    struct stat status;
    const UniqueFD file = OpenPlainFile(from, status);
    FilePlace place = platform::PlaceBehindLinks(to);
    if (!file.is_valid() || !place.directory.is_valid() || !MayTake(place, status))
        return false;
    FileReplacement copy(std::move(place));
    return Copy(file, status, copy) && copy.Commit(Existing::Replace, Durability::Cached);
}

}  // namespace kiv
