// How many descriptors the process has open, for tests of what must not leak any.
#ifndef KIV_BASE_TESTS_OPEN_DESCRIPTORS_H_
#define KIV_BASE_TESTS_OPEN_DESCRIPTORS_H_

#include <cstddef>
#include <filesystem>
#include <iterator>

namespace kiv::testing {

/// The one of the count itself included, each time.
inline std::size_t CountOpenDescriptors() {
    const std::filesystem::directory_iterator list("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(list), end(list)));
}

}  // namespace kiv::testing

#endif  // KIV_BASE_TESTS_OPEN_DESCRIPTORS_H_
