// Finds out whether a file can be written, before somebody opens it who would try for long.
#ifndef KIV_BASE_PLATFORM_APPEND_TRIAL_H_
#define KIV_BASE_PLATFORM_APPEND_TRIAL_H_

#include <system_error>

namespace kiv::platform {

/// Opens the file for appending and closes it again; no error if that worked. A missing file is
/// made. `name` is in the encoding of narrow file functions. Blocks on nothing: a pipe that nobody
/// reads is an error.
std::error_code TryToAppend(const char* name);

}  // namespace kiv::platform

#endif  // KIV_BASE_PLATFORM_APPEND_TRIAL_H_
