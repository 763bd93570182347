// The form of a document for people to read, with references expanded in place.
#ifndef KIV_BASE_ARCHIVE_JSON_DISPLAY_H_
#define KIV_BASE_ARCHIVE_JSON_DISPLAY_H_

#include <string>

#include "archive/jsonReader.h"

namespace kiv::internal {

/// The current scope, or what `key` and `subKey` choose of it, as `JsonArchive::GetDisplayJson`
/// promises. Throws `std::runtime_error` where references are nested too deeply for the stack.
std::string DisplayJson(JsonReader& reader, const std::string& key, const std::string& subKey);

}  // namespace kiv::internal

#endif  // KIV_BASE_ARCHIVE_JSON_DISPLAY_H_
