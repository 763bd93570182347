// A folder for files whose code is run, which takes a disk that is not mounted with noexec.
#ifndef KIV_BASE_TESTS_EXECUTABLE_FOLDER_H_
#define KIV_BASE_TESTS_EXECUTABLE_FOLDER_H_

#include <gtest/gtest.h>
#include <sys/statvfs.h>

#include "kiv/base/file.h"

namespace kiv::testing {

class ExecutableFolderTest : public ::testing::Test {
protected:
    void SetUp() override {
        struct statvfs disk {};
        ASSERT_EQ(::fstatvfs(folder_.fd.get(), &disk), 0);
        if ((disk.f_flag & ST_NOEXEC) != 0)
            GTEST_SKIP() << "no code may be run from files in " << folder_.path;
    }

    const ScopedTemporaryDirectory folder_;
};

}  // namespace kiv::testing

#endif  // KIV_BASE_TESTS_EXECUTABLE_FOLDER_H_
