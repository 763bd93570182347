#include <algorithm>
#include <cerrno>
#include <limits>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include "kiv/base/file.h"
#include "platform/fileContents.h"
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

constexpr off_t kToTheEnd = std::numeric_limits<off_t>::max();

struct Range {
    off_t begin, end;
};

// The contents from `position` on that are no hole; all of them where holes don't show. At last
// what lies behind the size, of which a virtual file system tells less than there is, such as 0.
Range NextContents(int file, off_t position) {
    const off_t begin = ::lseek(file, position, SEEK_DATA);
    if (begin < 0)
        return {errno == ENXIO ? std::max(position, ::lseek(file, 0, SEEK_END)) : position,
                kToTheEnd};
    const off_t end = ::lseek(file, begin, SEEK_HOLE);
    return {begin, end > begin ? end : kToTheEnd};
}

// Gives where the range, or before that the file, ended; -1 if that fails.
off_t CopyRange(int from, int to, Range range) {
    constexpr off_t kAtOnce = off_t{1} << 30;
    off_t position = range.begin;
    off_t written = range.begin;
    const auto some = [&](off_t most) {
        return static_cast<std::size_t>(std::min(range.end - position, most));
    };
    ssize_t size = 0;
    do
        size = AgainAfterSignal(
            [&] { return ::copy_file_range(from, &position, to, &written, some(kAtOnce), 0); });
    while (size > 0 && position < range.end);
    // The end, or something that can't be copied so: reading goes on where that stopped, and tells
    // the one from the other.
    uint8 bytes[32 * 1024];
    while (position < range.end) {
        size =
            AgainAfterSignal([&] { return ::pread(from, bytes, some(sizeof(bytes)), position); });
        if (size == 0)
            break;
        if (size < 0 || !platform::WriteContents(to, static_cast<uint64>(position), bytes,
                                                 static_cast<uint64>(size)))
            return -1;
        position += size;
    }
    return position;
}

// Holes stay holes.
bool CopyContents(const UniqueFD& from, const UniqueFD& to) {
    Range range;
    off_t end = 0;
    do {
        range = NextContents(from.get(), end);
        end = CopyRange(from.get(), to.get(), range);
    } while (end == range.end);
    return end >= 0 && TruncateFile(to, static_cast<uint64>(end));
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
    return ::fchmod(to.file().get(), status.st_mode & platform::kPermissions) == 0 &&
           CopyContents(from, to.file());
}

bool MayTake(const FilePlace& place, const struct stat& source) {
    struct stat status;
    if (::fstatat(place.directory.get(), place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT;
    return S_ISREG(status.st_mode) && !IsSame(status, source);
}

bool IsFree(const char* path) {
    struct stat status;
    return ::lstat(path, &status) != 0 && errno == ENOENT;
}

// Whether nobody has changed the file since, or put another one in its place.
bool IsUntouched(const char* path, const struct stat& before) {
    struct stat now;
    return ::lstat(path, &now) == 0 && IsSame(now, before) && now.st_size == before.st_size &&
           now.st_mtim.tv_sec == before.st_mtim.tv_sec &&
           now.st_mtim.tv_nsec == before.st_mtim.tv_nsec;
}

void UnlinkIfStill(const char* path, const UniqueFD& file) {
    struct stat named;
    struct stat own;
    if (::lstat(path, &named) == 0 && ::fstat(file.get(), &own) == 0 && IsSame(named, own))
        UnlinkFile(path);
}

// The source goes only once its copy is there to stay. Both files stay open until then, so that no
// other one can pass for them.
bool MoveToOtherFileSystem(const char* from, const char* to) {
    struct stat status;
    const UniqueFD source = OpenPlainFile(from, status);
    if (!source.is_valid() || !IsUntouched(from, status) || !IsFree(to))
        return false;
    FileReplacement replacement(platform::PlaceOf(to));
    const UniqueFD copy = Duplicate(replacement.file().get());
    const struct timespec times[] = {status.st_atim, status.st_mtim};
    if (!copy.is_valid() || !Copy(source, status, replacement) ||
        ::futimens(copy.get(), times) != 0)
        return false;
    if (replacement.Commit(Existing::Keep, Durability::Synced) && IsUntouched(from, status) &&
        UnlinkFile(from))
        return true;
    UnlinkIfStill(to, copy);
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
