// The way down through a tree of directories and back up, from entry to entry.
//
//     DirectoryDescent descent(top);
//     do
//         while (descent.Next())
//             if (descent.MayBeDirectory())
//                 descent.Enter();
//     while (descent.Leave());
//
// It holds few descriptors however deep it goes. The levels nearest to the top stay open; a deeper
// one is listed to its end and closed when a level below it is entered, and opened again on the way
// back by "..", or by the names that lead to it if the directory below was moved meanwhile. Either
// counts only if it is the same directory.
#ifndef KIV_BASE_PLATFORM_LINUX_DIRECTORY_DESCENT_H_
#define KIV_BASE_PLATFORM_LINUX_DIRECTORY_DESCENT_H_

#include <cstddef>
#include <vector>

#include <dirent.h>
#include <sys/types.h>

#include "kiv/base/file.h"

namespace kiv::platform {

class DirectoryDescent {
public:
    /// Begins at `top`, which outlives it. Its own position in the listing stays untouched, unless
    /// the directory may not be opened again: then `top` can have one descent at a time.
    explicit DirectoryDescent(const UniqueFD& top);

    /// Steps to the next entry of the directory at hand, except "." and ".."; false at its end, and
    /// if it can't be listed.
    bool Next();
    /// Goes down into the entry, unless it is a link; then or on another failure the directory at
    /// hand stays the same, and `errno` tells why.
    bool Enter();
    /// Goes back up to the entry that was entered last; past the directories that can't be reached
    /// any more. False at the top.
    bool Leave();

    /// The name of the entry, until the descent moves.
    const char* name() const { return _EntryAt(levels_.back().current)->d_name; }
    /// Whether the entry is a directory, or the file system doesn't tell without more ado.
    bool MayBeDirectory() const;
    /// Whether a directory could not be listed to its end so far. One that was removed meanwhile
    /// has no more entries.
    bool Missed() const { return missed_; }
    /// The directory at hand.
    const UniqueFD& directory() const { return levels_.size() == 1 ? top_ : levels_.back().handle; }

private:
    struct Level {
        UniqueFD handle;   // invalid while a deep level waits for one below it
        dev_t device = 0;  // of a level that waits
        ino_t inode = 0;
        bool listed = false;      // to its end
        std::size_t current = 0;  // where in entries_ the last entry begins, the next one, and what
        std::size_t next = 0;     // was read of this level ends
        std::size_t end = 0;
    };

    const dirent64* _EntryAt(std::size_t position) const {
        return reinterpret_cast<const dirent64*>(entries_.data() + position);
    }
    bool _ReadMore();
    bool _Reopen(const UniqueFD& below);

    const UniqueFD& top_;
    bool missed_ = false;
    std::vector<Level> levels_;
    std::vector<char> entries_;  // of all levels, the records of one behind those of the one above
};

}  // namespace kiv::platform

#endif  // KIV_BASE_PLATFORM_LINUX_DIRECTORY_DESCENT_H_
