// Applies the rules on paths, in both styles, to any text, and holds the results against what must
// be true of them whatever the text is, or against a rule in fewer words.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "platform/pathRules.h"

namespace {

using kiv::platform::PathStyle;

constexpr std::size_t kNoPosition = std::string::npos;

void Require(bool condition) {
    if (!condition)
        std::abort();
}

std::string MarksOf(PathStyle style) {
    return style == PathStyle::Windows ? "\\/" : "/";
}

void CheckDirectory(const std::string& path, PathStyle style) {
    const std::size_t root = kiv::platform::RootLength(path, style);
    Require(root == kNoPosition || root <= path.size());
    const std::string directory = kiv::platform::GetDirectoryName(path, style);
    Require(path.starts_with(directory));
    if (path.find_first_of(MarksOf(style)) == kNoPosition || root == kNoPosition) {
        Require(directory.empty());
        return;
    }
    // Behind it there is nothing, or one separator and a name, or the name alone behind the root.
    Require(directory.size() >= root);
    std::string_view rest = std::string_view(path).substr(directory.size());
    if (directory.size() > root)
        Require(rest.empty() || MarksOf(style).find(rest.front()) != kNoPosition);
    rest.remove_prefix(std::min<std::size_t>(1, rest.size()));
    Require(rest.find_first_of(MarksOf(style)) == kNoPosition);
}

std::vector<std::string> Split(std::string_view path, char mark) {
    std::vector<std::string> names(1);
    for (const char c : path) {
        if (c == mark)
            names.emplace_back();
        else
            names.back() += c;
    }
    std::erase(names, "");
    return names;
}

void CheckAbsolute(const std::string& path) {
    for (const std::string current : {"/", "/home/me"}) {
        std::vector<std::string> names;
        for (const std::string& name :
             Split(path.starts_with('/') ? path : current + '/' + path, '/')) {
            if (name != ".." && name != ".")
                names.push_back(name);
            else if (name == ".." && !names.empty())
                names.pop_back();
        }
        std::string expected = names.empty() ? "/" : "";
        for (const std::string& name : names)
            expected += '/' + name;
        const std::string absolute = kiv::platform::AbsolutePosixPath(current, path);
        Require(absolute == expected);
        Require(kiv::platform::AbsolutePosixPath("/else", absolute) == absolute);
    }
}

void CheckLevels(const std::string& path, PathStyle style) {
    const char mark = MarksOf(style)[0];
    std::vector<std::string> names = Split(path, mark);
    std::string start;
    if (style == PathStyle::Posix) {
        start = path.starts_with('/') ? "/" : "";
    } else if (path.size() >= 2 && path[1] == ':') {
        start = names.front() + mark;
        names.erase(names.begin());
    }
    // The visitor stops in the middle.
    const std::size_t wanted = (names.size() + 1) / 2;
    std::size_t visited = 0;
    std::string expected = start;
    const bool finished =
        kiv::platform::VisitDirectoryLevels(path, style, [&](const std::string& level) {
            if (visited > 0)
                expected += mark;
            expected += names.at(visited);
            Require(level == expected);
            return ++visited < wanted;
        });
    Require(finished == names.empty());
    Require(visited == wanted);
}

// The rule on escapes, from the back to the front.
std::string Unescaped(std::string text) {
    const auto digit = [&](std::size_t at) -> std::size_t {
        const std::string_view digits = "0123456789abcdef0123456789ABCDEF";
        const std::size_t found = at < text.size() ? digits.find(text[at]) : kNoPosition;
        return found == kNoPosition ? kNoPosition : found % 16;
    };
    std::vector<std::size_t> escapes;
    for (std::size_t i = 0; i < text.size(); i += text[i] == '%' ? 3 : 1)
        if (text[i] == '%')
            escapes.push_back(i);
    for (auto at = escapes.rbegin(); at != escapes.rend(); ++at) {
        const std::size_t high = digit(*at + 1);
        const std::size_t low = digit(*at + 2);
        if (high == kNoPosition || low == kNoPosition || (high == 0 && low == 0))
            return {};
        text.replace(*at, 3, 1, static_cast<char>(16 * high + low));
    }
    return text;
}

void CheckUri(const std::string& text) {
    Require(kiv::platform::SanitizeURIEscapedCharacters(text) == Unescaped(text));
    for (const std::string& uri : {text, "file:///" + text}) {
        const bool names_file = uri.compare(0, 8, "file:///") == 0;
        std::string backslashes = uri;
        std::replace(backslashes.begin(), backslashes.end(), '/', '\\');
        Require(kiv::platform::FromURI(uri, PathStyle::Windows) ==
                (names_file ? Unescaped(backslashes.substr(8)) : uri));
        Require(kiv::platform::FromURI(uri, PathStyle::Posix) ==
                (names_file ? Unescaped(uri.substr(7)) : uri));
    }
}

void CheckJoined(const std::string& path, PathStyle style) {
    const char mark = MarksOf(style)[0];
    const std::size_t half = path.size() / 2;
    const std::string first = path.substr(0, half);
    const std::string second = path.substr(half);
    Require(kiv::platform::JoinPaths({path}, style) == path);
    Require(kiv::platform::JoinPaths({first, second, ""}, style) == first + mark + second + mark);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    for (const PathStyle style : {PathStyle::Posix, PathStyle::Windows}) {
        CheckDirectory(text, style);
        CheckLevels(text, style);
        CheckJoined(text, style);
    }
    CheckAbsolute(text);
    CheckUri(text);
    return 0;
}
