#include "platform/pathRules.h"

#include <algorithm>

namespace kiv::platform {
namespace {

constexpr std::size_t kNoPosition = std::string::npos;
constexpr std::string_view kUriPrefix = "file:///";

constexpr char Separator(PathStyle style) {
    return style == PathStyle::Windows ? '\\' : '/';
}

constexpr bool IsLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// -1 for what is no hexadecimal digit.
constexpr int DigitValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// The path begins with two backslashes, which a server and a share follow.
std::size_t ShareRootLength(std::string_view path) {
    const std::size_t behind_server = path.find('\\', 2);
    return behind_server == kNoPosition ? path.size() : path.find('\\', behind_server + 1);
}

std::size_t WindowsRootLength(std::string_view path) {
    if (path.starts_with("\\\\"))
        return ShareRootLength(path);
    if (path.starts_with('/') || path.starts_with('\\'))
        return 1;
    const bool has_drive = path.size() >= 3 && IsLetter(path[0]) && path[1] == ':' &&
                           (path[2] == '/' || path[2] == '\\');
    return has_drive ? 3 : 0;
}

// Calls `use` with each name between separators until it gives false.
template <class Use>
bool ForEachName(std::string_view path, char separator, Use use) {
    while (!path.empty()) {
        const std::string_view name = path.substr(0, path.find(separator));
        if (!name.empty() && !use(name))
            return false;
        path.remove_prefix(std::min(name.size() + 1, path.size()));
    }
    return true;
}

}  // namespace

std::size_t RootLength(std::string_view path, PathStyle style) {
    return style == PathStyle::Windows ? WindowsRootLength(path) : path.starts_with('/');
}

std::string JoinPaths(std::initializer_list<std::string> components, PathStyle style) {
    std::size_t size = components.size();
    for (const std::string& component : components)
        size += component.size();

    std::string joined;
    joined.reserve(size);
    for (const std::string& component : components) {
        if (&component != components.begin())
            joined += Separator(style);
        joined += component;
    }
    return joined;
}

std::string GetDirectoryName(const std::string& path, PathStyle style) {
    const std::size_t last = path.find_last_of(style == PathStyle::Windows ? "/\\" : "/");
    // No position is larger than any other, so either one makes the result empty.
    const std::size_t end = std::max(RootLength(path, style), last);
    return end == kNoPosition ? std::string() : path.substr(0, end);
}

std::string FromURI(const std::string& uri, PathStyle style) {
    if (!uri.starts_with(kUriPrefix))
        return uri;
    if (style == PathStyle::Posix)  // the last character of the prefix is the root
        return SanitizeURIEscapedCharacters(uri.substr(kUriPrefix.size() - 1));
    std::string path = uri.substr(kUriPrefix.size());
    std::replace(path.begin(), path.end(), '/', '\\');
    return SanitizeURIEscapedCharacters(path);
}

std::string SanitizeURIEscapedCharacters(std::string_view text) {
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            plain += text[i];
            continue;
        }
        if (text.size() - i < 3)
            return {};
        const int high = DigitValue(text[i + 1]);
        const int low = DigitValue(text[i + 2]);
        if (high < 0 || low < 0 || high + low == 0)
            return {};
        plain += static_cast<char>(high << 4 | low);
        i += 2;
    }
    return plain;
}

std::string AbsolutePosixPath(std::string_view current, std::string_view path) {
    std::string folded;
    const auto append = [&folded](std::string_view name) {
        if (name == "..")
            folded.resize(folded.empty() ? 0 : folded.rfind('/'));
        else if (name != ".")
            folded.append("/").append(name);
        return true;
    };
    if (!path.starts_with('/'))
        ForEachName(current, '/', append);
    ForEachName(path, '/', append);
    return folded.empty() ? "/" : folded;
}

bool VisitDirectoryLevels(const std::string& path, PathStyle style, const LevelVisitor& visitor) {
    const char separator = Separator(style);
    std::string level = style == PathStyle::Posix && path.starts_with('/') ? "/" : "";
    // A drive is where the levels begin, and never one to make.
    bool is_drive = style == PathStyle::Windows && path.size() >= 2 && path[1] == ':';
    return ForEachName(path, separator, [&](std::string_view name) {
        if (!level.empty() && level.back() != separator)
            level += separator;
        level += name;
        if (!is_drive)
            return visitor(level);
        level += separator;
        is_drive = false;
        return true;
    });
}

}  // namespace kiv::platform
