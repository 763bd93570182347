#include <cerrno>
#include <string_view>

#include <unistd.h>

#include "kiv/base/file.h"
#include "platform/linux/directoryDescent.h"
#include "platform/linux/openAt.h"

namespace kiv {

using platform::DirectoryDescent;
using platform::DirectoryOf;
using platform::OpenAt;

namespace {

// What one pass leaves is what was added or changed meanwhile, or held back by the file system, so
// it is not for ever.
constexpr int kMaxPasses = 1000;
constexpr int kMaxPassesInVain = 100;  // in a row

struct Pass {
    bool refused = false;  // by an entry that can't be removed, or a directory that can't be listed
    bool found = false;    // an entry at all
    bool removed = false;  // one of them
};

bool IsAnotherKindNow(int error) {
    return error == EISDIR || error == ENOTDIR || error == ELOOP || error == ENOTEMPTY ||
           error == EEXIST;
}

// What was added, or became another kind of entry since it was listed, is left to the next pass,
// and so is what a signal breaks off.
void Remove(const DirectoryDescent& descent, int flags, Pass& pass) {
    if (::unlinkat(descent.directory().get(), descent.name(), flags) == 0)
        pass.removed = true;
    else if (errno != ENOENT && errno != EINTR && !IsAnotherKindNow(errno))
        pass.refused = true;
}

Pass RemoveOnce(const UniqueFD& directory) {
    Pass pass;
    DirectoryDescent descent(directory);
    do {
        while (!pass.refused && descent.Next()) {
            pass.found = true;
            if (!descent.MayBeDirectory())
                Remove(descent, 0, pass);
            else if (!descent.Enter()) {
                // Not entered, so it is a file or a link, or nothing any more.
                if (IsAnotherKindNow(errno) || errno == ENOENT)
                    Remove(descent, 0, pass);
                else
                    pass.refused = true;
            }
        }
        pass.refused |= descent.Missed();
        if (pass.refused || !descent.Leave())
            return pass;
        Remove(descent, AT_REMOVEDIR, pass);
    } while (!pass.refused);
    return pass;
}

// The path without the separators at its end, behind which a link would be followed; empty if it
// ends in no name of an entry.
std::string_view EntryOf(std::string_view path) {
    while (path.ends_with('/'))
        path.remove_suffix(1);
    const std::string_view last = path.substr(path.rfind('/') + 1);
    return last == "." || last == ".." ? std::string_view() : path;
}

}  // namespace

bool RemoveFilesInDirectory(const UniqueFD& directory) {
    if (!directory.is_valid())
        return true;
    int in_vain = 0;
    for (int i = 0; i < kMaxPasses && in_vain < kMaxPassesInVain; ++i) {
        const Pass pass = RemoveOnce(directory);
        if (pass.refused)
            return false;
        if (!pass.found)
            return true;
        in_vain = pass.removed ? 0 : in_vain + 1;
    }
    return false;
}

bool RemoveDirectoryRecursively(const UniqueFD& base, const char* name) {
    if (name == nullptr)
        return false;
    const std::string entry(EntryOf(name));
    const UniqueFD directory =
        OpenAt(DirectoryOf(base), entry.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
    return directory.is_valid() && RemoveFilesInDirectory(directory) &&
           (UnlinkDirectory(base, entry.c_str()) || errno == ENOENT);
}

}  // namespace kiv
