#include "kiv/base/paths.h"

#include "platform/pathRules.h"
#include "platform/systemPaths.h"

namespace kiv::paths {

std::string JoinPaths(std::initializer_list<std::string> components) {
    return platform::JoinPaths(components, platform::NativePathStyle());
}

std::string AbsolutePath(const std::string& path) {
    return platform::HasNul(path) ? std::string() : platform::AbsolutePath(path);
}

std::string GetDirectoryName(const std::string& path) {
    return platform::GetDirectoryName(path, platform::NativePathStyle());
}

std::string FromURI(const std::string& uri) {
    return platform::FromURI(uri, platform::NativePathStyle());
}

std::string SanitizeURIEscapedCharacters(const std::string& text) {
    return platform::SanitizeURIEscapedCharacters(text);
}

std::string Utf8PathToLocal(const std::string& path) {
    return platform::LocalPath(path);
}

bool CreateDirectoryRecursive(const std::string& path) {
    if (path.empty() || platform::HasNul(path))
        return false;
    return platform::VisitDirectoryLevels(path, platform::NativePathStyle(),
                                          platform::MakeDirectoryUnlessPresent);
}

optional<std::string> GetExecutablePath() {
    return platform::ExecutablePath();
}

optional<std::string> GetExecutableDirectoryPath() {
    const optional<std::string> executable = GetExecutablePath();
    if (!executable)
        return std::nullopt;
    return GetDirectoryName(*executable);
}

std::string GetKIVEDataDirectory() {
    const std::string data = platform::UserDataDirectory();
    return data.empty() ? data : JoinPaths({data, "Morvenda", "KIVE"});
}

UniqueFD GetCachesDirectory() {
    return UniqueFD();
}

}  // namespace kiv::paths
