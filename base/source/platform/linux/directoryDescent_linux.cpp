#include <algorithm>
#include <cerrno>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/directoryDescent.h"
#include "platform/linux/openAt.h"

namespace kiv::platform {
namespace {

// The levels below the top that stay open, which spares nearly every tree the way back by "..".
constexpr std::size_t kKeptOpen = 16;
constexpr std::size_t kChunk = 32 * 1024;
constexpr int kAnyDirectory = O_RDONLY | O_DIRECTORY | O_NOFOLLOW;

bool IsDotOrDotDot(const char* name) {
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

UniqueFD OpenIfSame(int directory, const char* name, dev_t device, ino_t inode) {
    UniqueFD handle = OpenAt(directory, name, kAnyDirectory);
    struct stat status;
    if (!handle.is_valid() || ::fstat(handle.get(), &status) != 0 || status.st_dev != device ||
        status.st_ino != inode)
        return UniqueFD();
    return handle;
}

}  // namespace

DirectoryDescent::DirectoryDescent(const UniqueFD& top) : top_(top) {
    // A handle has one position in the listing, which all of its users would share.
    UniqueFD& handle = levels_.emplace_back().handle;
    handle = OpenAt(DirectoryOf(top), ".", kAnyDirectory);
    // What was opened may be listed, also without the right to look up names in it.
    if (!handle.is_valid() && errno == EACCES) {
        handle = Duplicate(top.get());
        ::lseek(handle.get(), 0, SEEK_SET);
    }
}

bool DirectoryDescent::Next() {
    Level& level = levels_.back();
    do {
        if (level.next == level.end) {
            level.next = level.end = levels_.size() == 1 ? 0 : levels_[levels_.size() - 2].end;
            if (!_ReadMore())
                return false;
        }
        level.current = level.next;
        level.next += _EntryAt(level.current)->d_reclen;
    } while (IsDotOrDotDot(name()));
    return true;
}

bool DirectoryDescent::Enter() {
    const bool closes = levels_.size() > kKeptOpen;
    while (closes && _ReadMore()) {
    }
    struct stat status;
    if (closes && ::fstat(levels_.back().handle.get(), &status) != 0)
        return false;
    UniqueFD handle = OpenAt(levels_.back().handle.get(), name(), kAnyDirectory);
    if (!handle.is_valid())
        return false;

    Level& below = levels_.emplace_back();
    below.handle = std::move(handle);
    Level& level = levels_[levels_.size() - 2];
    below.next = below.end = level.end;
    if (closes) {
        level.device = status.st_dev;
        level.inode = status.st_ino;
        level.handle.reset();
    }
    return true;
}

bool DirectoryDescent::Leave() {
    while (levels_.size() > 1) {
        const UniqueFD below = std::move(levels_.back().handle);
        levels_.pop_back();
        if (levels_.back().handle.is_valid() || levels_.size() == 1 || _Reopen(below))
            return true;
    }
    return false;
}

bool DirectoryDescent::MayBeDirectory() const {
    const unsigned char type = _EntryAt(levels_.back().current)->d_type;
    return type == DT_DIR || type == DT_UNKNOWN;
}

bool DirectoryDescent::_ReadMore() {
    Level& level = levels_.back();
    if (level.listed)
        return false;
    entries_.resize(std::max(entries_.size(), level.end + kChunk));
    const ssize_t size = AgainAfterSignal(
        [&] { return ::getdents64(level.handle.get(), entries_.data() + level.end, kChunk); });
    missed_ |= size < 0 && errno != ENOENT;
    level.listed = size <= 0;
    level.end += static_cast<std::size_t>(std::max<ssize_t>(size, 0));
    return !level.listed;
}

bool DirectoryDescent::_Reopen(const UniqueFD& below) {
    const auto level = levels_.end() - 1;
    level->handle = OpenIfSame(DirectoryOf(below), "..", level->device, level->inode);
    if (level->handle.is_valid())
        return true;
    auto above = level;
    while (!above->handle.is_valid())
        --above;
    int directory = above->handle.get();
    UniqueFD handle;
    for (; above != level; ++above) {
        const Level& next = above[1];
        handle = OpenIfSame(directory, _EntryAt(above->current)->d_name, next.device, next.inode);
        if (!handle.is_valid())
            return false;
        directory = handle.get();
    }
    level->handle = std::move(handle);
    return true;
}

}  // namespace kiv::platform
