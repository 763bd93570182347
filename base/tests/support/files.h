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
#include <sys/statvfs.h>
#include <unistd.h>

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

/// False on a disk that is mounted with noexec.
inline bool MayRunCodeIn(const UniqueFD& directory) {
    struct statvfs disk {};
    return ::fstatvfs(directory.get(), &disk) == 0 && (disk.f_flag & ST_NOEXEC) == 0;
}

/// A test that has a folder of its own and calls what is in it by name.
class FolderTest : public ::testing::Test {
protected:
    std::string PathOf(const std::string& name) const { return folder_.path + '/' + name; }
    void Put(const std::string& name, const std::string& text) const {
        WriteFile(PathOf(name), text);
    }
    std::string TextIn(const std::string& name) const { return ReadFile(PathOf(name)); }
    std::vector<std::string> Names() const { return NamesIn(folder_.fd); }
    void Link(const std::string& target, const std::string& name) const {
        EXPECT_EQ(::symlink(target.c_str(), PathOf(name).c_str()), 0) << name;
    }

    const ScopedTemporaryDirectory folder_;
};

}  // namespace kiv::testing

#endif  // KIV_BASE_TESTS_FILES_H_
