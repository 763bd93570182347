// A chain of directories, each in the one before, with files in all of them: soon too deep for a
// path and for a descriptor each.
#ifndef KIV_BASE_TESTS_DIRECTORY_CHAIN_H_
#define KIV_BASE_TESTS_DIRECTORY_CHAIN_H_

#include <string>

#include <gtest/gtest.h>

#include "kiv/base/file.h"

namespace kiv::testing {

inline constexpr int kFilesInEach = 4;

/// The files of level 1 are named from "1.0" to "1.3".
inline void MakeChain(const UniqueFD& top, int depth, const std::string& directory = "d") {
    UniqueFD last = Duplicate(top.get());
    for (int level = 1; level <= depth; ++level) {
        last = OpenDirectory(last, directory.c_str(), true, FilePermission::Read);
        for (int i = 0; i < kFilesInEach; ++i) {
            const std::string name = std::to_string(level) + '.' + std::to_string(i);
            ASSERT_TRUE(OpenFile(last, name.c_str(), true, FilePermission::Write).is_valid());
        }
    }
}

}  // namespace kiv::testing

#endif  // KIV_BASE_TESTS_DIRECTORY_CHAIN_H_
