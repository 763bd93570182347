// A new file that takes its place in one step when it is complete, or vanishes.
//
//     FileReplacement replacement(PlaceOf(base, "state.bin"));
//     if (!replacement.file().is_valid() || !Write(replacement.file(), state)) return false;
//     return replacement.Commit(Existing::Replace, Durability::Synced);
//
// Whoever opens the name finds what was there before or the complete new file. A process that dies
// before the commit leaves a file with a random name behind, which begins with a dot.
#ifndef KIV_BASE_PLATFORM_FILE_REPLACEMENT_H_
#define KIV_BASE_PLATFORM_FILE_REPLACEMENT_H_

#include <string>

#include "kiv/base/file.h"
#include "platform/filePlace.h"

namespace kiv::platform {

enum class Existing { Replace, Keep };
enum class Durability { Cached, Synced };

class FileReplacement {
public:
    /// Makes an empty file beside `place`. It has the permissions of the plain file that is there,
    /// and its owner as far as this process may give files away, or those of any new file. A link
    /// there is replaced itself; what is neither, and a file that may not be written to, is not
    /// replaced.
    explicit FileReplacement(FilePlace place);
    /// Removes the file unless it was committed.
    ~FileReplacement();
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    /// Open for reading and writing until the commit; invalid if it could not be made.
    const UniqueFD& file() const { return file_; }
    /// Closes the file and gives it its place. If that fails, what is there stays as it was, and so
    /// it does with `Keep` if anything is there. Synced, a crash of the system afterwards does not
    /// undo it. That takes the right to read the directory, and if the disk fails at the last, the
    /// commit fails with the new file in its place.
    bool Commit(Existing existing, Durability durability);

private:
    FilePlace place_;
    std::string temporary_name_;  // empty if there is nothing to remove
    UniqueFD file_;
};

}  // namespace kiv::platform

#endif  // KIV_BASE_PLATFORM_FILE_REPLACEMENT_H_
