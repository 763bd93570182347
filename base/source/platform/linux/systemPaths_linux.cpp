#include <cerrno>
#include <cstddef>
#include <cstdlib>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/systemPaths.h"

namespace kiv::platform {
namespace {

constexpr std::size_t kFirstRoom = 256;
constexpr std::size_t kMostRoom = 1 << 20;

bool IsAbsolute(const char* path) {
    return path != nullptr && path[0] == '/';
}

std::string CurrentDirectory() {
    std::string directory(kFirstRoom, '\0');
    while (::getcwd(directory.data(), directory.size()) == nullptr) {
        if (errno != ERANGE)
            return {};
        directory.resize(2 * directory.size());
    }
    directory.resize(directory.find('\0'));
    return directory;
}

// The home that the password entry of this user names; empty without one.
std::string HomeOfRecord() {
    std::string room(kFirstRoom, '\0');
    passwd entry{};
    passwd* found = nullptr;
    int error = 0;
    while ((error = ::getpwuid_r(::getuid(), &entry, room.data(), room.size(), &found)) != 0) {
        // A name service out of order might ask for more for ever.
        if (error == ERANGE && room.size() < kMostRoom)
            room.resize(2 * room.size());
        else if (error != EINTR)
            return {};
    }
    return found && IsAbsolute(found->pw_dir) ? found->pw_dir : std::string();
}

std::string WithoutLastSeparators(std::string path) {
    path.resize(path.find_last_not_of('/') + 1);
    return path;
}

std::string Home() {
    const char* const home = std::getenv("HOME");
    return IsAbsolute(home) ? home : HomeOfRecord();
}

}  // namespace

PathStyle NativePathStyle() {
    return PathStyle::Posix;
}

std::string AbsolutePath(const std::string& path) {
    if (IsAbsolute(path.c_str()))
        return AbsolutePosixPath({}, path);
    const std::string current = CurrentDirectory();
    return current.empty() ? current : AbsolutePosixPath(current, path);
}

std::string LocalPath(const std::string& path) {
    return path;
}

bool MakeDirectoryUnlessPresent(const std::string& path) {
    // Looked for first: on some file systems making what exists fails with another error.
    struct stat status;
    return ::lstat(path.c_str(), &status) == 0 || ::mkdir(path.c_str(), 0777) == 0 ||
           errno == EEXIST;
}

optional<std::string> ExecutablePath() {
    std::string path(kFirstRoom, '\0');
    while (true) {
        const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
        if (length <= 0)
            return std::nullopt;
        // A name that fills the buffer may be cut off.
        if (static_cast<std::size_t>(length) < path.size()) {
            path.resize(static_cast<std::size_t>(length));
            return path;
        }
        path.resize(2 * path.size());
    }
}

std::string UserDataDirectory() {
    const char* const chosen = std::getenv("XDG_DATA_HOME");
    if (IsAbsolute(chosen))
        return WithoutLastSeparators(chosen);
    const std::string home = Home();
    return home.empty()
               ? home
               : JoinPaths({WithoutLastSeparators(home), ".local", "share"}, PathStyle::Posix);
}

}  // namespace kiv::platform
