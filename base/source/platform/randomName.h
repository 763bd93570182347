// Names for what must not meet anything that is there already.
#ifndef KIV_BASE_PLATFORM_RANDOM_NAME_H_
#define KIV_BASE_PLATFORM_RANDOM_NAME_H_

#include <string>

namespace kiv::platform {

/// 36 characters, a random UUID in small letters, which nobody can foresee. Empty if the system has
/// no random bytes to give.
std::string RandomName();

}  // namespace kiv::platform

#endif  // KIV_BASE_PLATFORM_RANDOM_NAME_H_
