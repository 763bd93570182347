// What the sink of a log asks of the system for its file, besides what spdlog asks.
#ifndef KIV_BASE_PLATFORM_APPENDED_FILE_H_
#define KIV_BASE_PLATFORM_APPENDED_FILE_H_

#include <cstdio>
#include <system_error>

namespace kiv::platform {

/// Opens the file for appending and closes it again; no error if that worked. A missing file is
/// made. `name` is in the encoding of narrow file functions. Blocks on nothing: a pipe that nobody
/// reads is an error.
std::error_code TryToAppend(const char* name);

/// Programs that this process starts from here on don't get the open `file`.
void KeepFromChildren(std::FILE* file);

}  // namespace kiv::platform

#endif  // KIV_BASE_PLATFORM_APPENDED_FILE_H_
