#include <cerrno>
#include <climits>
#include <string_view>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include "platform/filePlace.h"
#include "platform/linux/openAt.h"

namespace kiv::platform {
namespace {

// As many as the kernel follows in one path.
constexpr int kMaxLinks = 40;

FilePlace PlaceAt(int directory, std::string_view path) {
    const std::string_view name = path.substr(path.rfind('/') + 1);
    if (name.empty() || name == "." || name == "..")
        return FilePlace();
    const std::string above(path.substr(0, path.size() - name.size()));
    return FilePlace{OpenAt(directory, PathBelow(above.c_str()), O_PATH | O_DIRECTORY),
                     std::string(name)};
}

}  // namespace

FilePlace PlaceOf(const UniqueFD& base, const char* path) {
    return path == nullptr ? FilePlace() : PlaceAt(DirectoryOf(base), path);
}

FilePlace PlaceOf(const char* path) {
    return path == nullptr ? FilePlace() : PlaceAt(AT_FDCWD, path);
}

FilePlace PlaceBehindLinks(const char* path) {
    FilePlace place = PlaceOf(path);
    for (int links = 0; place.directory.is_valid() && links <= kMaxLinks; ++links) {
        char target[PATH_MAX];
        const ssize_t size =
            ::readlinkat(place.directory.get(), place.name.c_str(), target, sizeof(target));
        if (size < 0)
            return errno == EINVAL || errno == ENOENT ? std::move(place) : FilePlace();
        // The kernel may refuse to follow a link, such as one that somebody else put into a folder
        // for all; then nobody follows it here.
        struct stat status;
        if (::fstatat(place.directory.get(), place.name.c_str(), &status, 0) != 0 &&
            errno != ENOENT)
            return FilePlace();
        place = PlaceAt(place.directory.get(),
                        std::string_view(target, static_cast<std::size_t>(size)));
    }
    return FilePlace();
}

}  // namespace kiv::platform
