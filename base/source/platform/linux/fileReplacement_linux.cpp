#include <cerrno>
#include <cstdio>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include "platform/fileContents.h"
#include "platform/fileReplacement.h"
#include "platform/linux/exclusiveRename.h"
#include "platform/linux/openAt.h"
#include "platform/randomName.h"

namespace kiv::platform {
namespace {

// A file system that keeps no directories to be synced says that the call is not for them.
bool SyncDirectory(const UniqueFD& directory) {
    return SyncContents(directory.get()) || errno == EINVAL;
}

// Some file systems tell only now that what was written found no room.
bool Close(UniqueFD& file) {
    internal::oslinux::UniqueFDTraits::RemoveCacheEntry(file.get());
    return ::close(file.release()) == 0 || errno == EINTR;
}

// What the process may not give away stays its own.
bool GiveTo(uid_t owner, gid_t group, const UniqueFD& file) {
    return ::fchown(file.get(), owner, group) == 0 || ::fchown(file.get(), uid_t(-1), group) == 0;
}

// To rename over a file takes no permission to write to it: whoever took that away means this too.
bool MayReplace(const FilePlace& place, const struct stat& status) {
    return S_ISLNK(status.st_mode) ||
           (S_ISREG(status.st_mode) &&
            ::faccessat(place.directory.get(), place.name.c_str(), W_OK, AT_EACCESS) == 0);
}

}  // namespace

FileReplacement::FileReplacement(FilePlace place) : place_(std::move(place)) {
    std::string name = RandomName();
    if (!place_.directory.is_valid() || name.empty())
        return;
    name.insert(name.begin(), '.');
    const int directory = place_.directory.get();
    struct stat status;
    const bool taken = ::fstatat(directory, place_.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
    if (taken && !MayReplace(place_, status))
        return;
    const bool replaces = taken && S_ISREG(status.st_mode);
    // The mask of the process holds for new files only.
    const mode_t mode = replaces ? status.st_mode & kPermissions : kNewFile;
    file_ = OpenAt(directory, name.c_str(), O_RDWR | O_CREAT | O_EXCL, mode);
    if (!file_.is_valid())
        return;
    temporary_name_ = std::move(name);
    if (!replaces)
        return;
    GiveTo(status.st_uid, status.st_gid, file_);
    if (::fchmod(file_.get(), mode) != 0)
        file_.reset();
}

FileReplacement::~FileReplacement() {
    if (!temporary_name_.empty())
        ::unlinkat(place_.directory.get(), temporary_name_.c_str(), 0);
}

bool FileReplacement::Commit(Existing existing, Durability durability) {
    const bool synced = durability == Durability::Synced;
    const int directory = place_.directory.get();
    // Before the rename: who may not read the folder can't sync it, which is no surprise for later.
    UniqueFD folder;
    if (synced)
        folder = OpenAt(directory, ".", O_RDONLY | O_DIRECTORY);
    if (!file_.is_valid() || (synced && !(folder.is_valid() && SyncContents(file_.get()))) ||
        !Close(file_))
        return false;
    const char* const from = temporary_name_.c_str();
    const char* const to = place_.name.c_str();
    const bool renamed = existing == Existing::Replace
                             ? ::renameat(directory, from, directory, to) == 0
                             : RenameExclusively(directory, from, directory, to);
    if (!renamed)
        return false;
    temporary_name_.clear();
    return !synced || SyncDirectory(folder);
}

}  // namespace kiv::platform
