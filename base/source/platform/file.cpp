#include "kiv/base/file.h"

#include <algorithm>
#include <new>

#include "platform/pathRules.h"

namespace kiv {

void internal::KIV_BASE_SYSTEM::UniqueFDTraits::RemoveCacheEntry(FileHandle handle) {
    std::lock_guard lock(file_map_mutex);
    file_map.erase(handle);
}

UniqueFD OpenFileReadOnly(const UniqueFD& base, const char* path) {
    return OpenFile(base, path, false, FilePermission::Read);
}

UniqueFD OpenDirectoryReadOnly(const UniqueFD& base, const char* path) {
    return OpenDirectory(base, path, false, FilePermission::Read);
}

UniqueFD CreateDirectory(const UniqueFD& base, const std::vector<std::string>& components,
                         FilePermission permission) {
    // No part of a name may pass for the whole of it, and nothing is made on the way to such a one.
    if (!IsDirectory(base) || std::any_of(components.begin(), components.end(), platform::HasNul))
        return UniqueFD();
    UniqueFD last;
    for (const std::string& component : components) {
        const UniqueFD& above = &component == &components.front() ? base : last;
        last = OpenDirectory(above, component.c_str(), true, permission);
        if (!last.is_valid())
            return UniqueFD();
    }
    return last;
}

ScopedTemporaryDirectory::ScopedTemporaryDirectory() : path(CreateTemporaryDirectory()) {
    if (!path.empty())
        fd = OpenDirectory(path.c_str(), false, FilePermission::Read);
}

ScopedTemporaryDirectory::~ScopedTemporaryDirectory() {
    if (path.empty())
        return;
    try {
        RemoveFilesInDirectory(fd);
    } catch (const std::bad_alloc&) {
        // What is left stays, as it does where the system refuses.
    }
    fd.reset();
    UnlinkDirectory(path.c_str());
}

}  // namespace kiv
