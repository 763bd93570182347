// Small algebra on paths, and the places that belong to the process.
//
//     const std::string data = paths::GetKIVEDataDirectory();
//     const std::string logs = paths::JoinPaths({data, "logs"});
//     if (data.empty() || !paths::CreateDirectoryRecursive(logs)) return false;
//
// A path is a UTF-8 text with the separator of the system. On Linux that is "/", a backslash is a
// character like any other, and so is what is not valid UTF-8; the root is "/". The functions have
// no state and may be called from any thread, also while another one changes what they look at: the
// file system and the current directory, but not the environment. What converts a text for the
// system raises `std::range_error` as textEncoding.h says; on Linux, none does.
#ifndef KIV_BASE_PATHS_H_
#define KIV_BASE_PATHS_H_

#include <initializer_list>
#include <string>

#include "kiv/base/export.h"
#include "kiv/base/file.h"
#include "kiv/base/optional.h"

namespace kiv::paths {

/// The components in order, with one separator between each two. Looks at nothing: an empty
/// component, and one that ends in a separator, leave two of them in a row.
KIV_BASE_API std::string JoinPaths(std::initializer_list<std::string> components);

/// `path` seen from the current directory, which is also what the empty path stands for. Works on
/// the text alone: "." and ".." are folded without a look at links, ".." at the root stays there,
/// and no separator is doubled or stands at the end. Empty if the path has a NUL or the current
/// directory can't be told.
KIV_BASE_API std::string AbsolutePath(const std::string& path);

/// `path` up to its last separator, which goes along only where it is the root's: "/a" of "/a/b",
/// "/" of "/a". Empty if there is none.
KIV_BASE_API std::string GetDirectoryName(const std::string& path);

/// The path that a text beginning with "file:///" names: "/a b" of "file:///a%20b". Any other text
/// comes back unchanged, and a bad escape makes the result empty.
KIV_BASE_API std::string FromURI(const std::string& uri);

/// `text` with each "%" and the two hexadecimal digits behind it as one byte. Empty if they are not
/// there, or if that byte would be 0.
KIV_BASE_API std::string SanitizeURIEscapedCharacters(const std::string& text);

/// The path in the encoding of the system's narrow functions; on Linux, the path itself.
KIV_BASE_API std::string Utf8PathToLocal(const std::string& path);

/// Makes each directory along the path that is missing. Whatever is at such a place already counts
/// as there, also a file. False for an empty path and for one with a NUL, which make nothing, and
/// when the system refuses; what was made until then stays.
KIV_BASE_API bool CreateDirectoryRecursive(const std::string& path);

/// The file that the process runs, and its directory; nothing if the system doesn't tell. On Linux
/// the name of a file that was removed since ends in " (deleted)".
KIV_BASE_API optional<std::string> GetExecutablePath();
KIV_BASE_API optional<std::string> GetExecutableDirectoryPath();

/// Where the user's data of this engine belongs, which may not exist yet; empty if the user has no
/// place for data. On Linux, "Morvenda/KIVE" below the directory that `XDG_DATA_HOME` names, or
/// else below ".local/share" in the home.
KIV_BASE_API std::string GetKIVEDataDirectory();

/// Always invalid: there is no such directory on a system where programs keep no cache of their
/// own.
KIV_BASE_API UniqueFD GetCachesDirectory();

}  // namespace kiv::paths

#endif  // KIV_BASE_PATHS_H_
