// A file's name and the open directory it stands in, for what has to be made beside it and renamed.
#ifndef KIV_BASE_PLATFORM_FILE_PLACE_H_
#define KIV_BASE_PLATFORM_FILE_PLACE_H_

#include <string>

#include "kiv/base/file.h"

namespace kiv::platform {

struct FilePlace {
    UniqueFD directory;  // invalid if there is no such place; good for nothing but what is in it
    std::string name;
};

/// Where `path` is, of which all but the last name exists. There is no such place for a path that
/// is null or empty, or ends in a separator, "." or "..".
FilePlace PlaceOf(const UniqueFD& base, const char* path);
/// The same, relative to the working directory.
FilePlace PlaceOf(const char* path);
/// The same, or if a link is there, the place that it leads to, which may be free as well.
FilePlace PlaceBehindLinks(const char* path);

}  // namespace kiv::platform

#endif  // KIV_BASE_PLATFORM_FILE_PLACE_H_
