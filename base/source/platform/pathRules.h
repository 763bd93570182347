// What a path means as a text, for both kinds of path on every system.
#ifndef KIV_BASE_PLATFORM_PATH_RULES_H_
#define KIV_BASE_PLATFORM_PATH_RULES_H_

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>

namespace kiv::platform {

/// Posix: "/" separates, and is the root; every other character is one of a name.
/// Windows: `\` is written, "/" is understood by some; drives and shares are roots.
enum class PathStyle { Posix, Windows };

/// Such a path names no file, least of all the one that its beginning names.
inline bool HasNul(std::string_view path) {
    return path.find('\0') != std::string_view::npos;
}

/// The length of the root that the path begins with, 0 without one. No position, `npos`, for a
/// Windows share without anything below it.
std::size_t RootLength(std::string_view path, PathStyle style);

std::string JoinPaths(std::initializer_list<std::string> components, PathStyle style);
std::string GetDirectoryName(const std::string& path, PathStyle style);
std::string FromURI(const std::string& uri, PathStyle style);
std::string SanitizeURIEscapedCharacters(std::string_view text);

/// The Posix path `path`, seen from the absolute path `current`, folded.
std::string AbsolutePosixPath(std::string_view current, std::string_view path);

/// Gets each directory on the way to `path`, the path itself last, until one is refused. The root
/// is not among them. In pieces, because all of them together are as long as the square of the
/// path.
using LevelVisitor = std::function<bool(const std::string& directory)>;
/// False if the visitor refused one.
bool VisitDirectoryLevels(const std::string& path, PathStyle style, const LevelVisitor& visitor);

}  // namespace kiv::platform

#endif  // KIV_BASE_PLATFORM_PATH_RULES_H_
