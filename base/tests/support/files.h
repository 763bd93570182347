// Short ways to put files in place and to look at what is there.
#ifndef KIV_BASE_TESTS_FILES_H_
#define KIV_BASE_TESTS_FILES_H_

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kiv/base/file.h"

namespace kiv::testing {

inline void WriteFile(const std::string& path, const std::string& contents) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    EXPECT_TRUE(file << contents << std::flush) << path;
}

inline std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

/// What is in the directory, sorted.
inline std::vector<std::string> NamesIn(const UniqueFD& directory) {
    std::vector<std::string> names;
    EXPECT_TRUE(VisitFiles(directory, [&](const UniqueFD&, const std::string& name) {
        names.push_back(name);
        return true;
    }));
    std::sort(names.begin(), names.end());
    return names;
}

inline std::vector<std::string> NamesIn(const std::string& path) {
    return NamesIn(OpenDirectory(path.c_str(), false, FilePermission::Read));
}

/// How many descriptors of this process are open, to find out whether one has leaked.
inline std::size_t OpenDescriptors() {
    return NamesIn("/proc/self/fd").size();
}

}  // namespace kiv::testing

#endif  // KIV_BASE_TESTS_FILES_H_
