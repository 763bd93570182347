// A child that looks at a system in which things go wrong, without harm to the tests after it.
//
//     EXPECT_TRUE(PassesInChild([&] {
//         RefuseCalls({{SYS_linkat, EPERM}});
//         EXPECT_TRUE(MoveFileOrDirectory(from, to));
//     }));
#ifndef KIV_BASE_TESTS_CHILD_PROCESS_H_
#define KIV_BASE_TESTS_CHILD_PROCESS_H_

#include <cstddef>
#include <cstdio>
#include <functional>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/files.h"

namespace kiv::testing {

/// Whether no expectation failed in `body`, which runs in a copy of this process and has two
/// minutes.
inline bool PassesInChild(const std::function<void()>& body) {
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(120);
        body();
        std::fflush(nullptr);
        ::_exit(::testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    return ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

struct RefusedCall {
    int number;
    int error;
    bool below_working_directory = false;  // only if the first argument says so
};

/// From now on these calls of the process fail.
inline void RefuseCalls(const std::vector<RefusedCall>& calls) {
    std::vector<sock_filter> filter;
    for (const RefusedCall& call : calls) {
        const bool conditional = call.below_working_directory;
        filter.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)));
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<__u32>(call.number), 0,
                                  static_cast<__u8>(conditional ? 3 : 1)));
        if (conditional) {
            filter.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args)));
            filter.push_back(
                BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<__u32>(AT_FDCWD), 0, 1));
        }
        filter.push_back(
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<__u32>(call.error)));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    ASSERT_EQ(::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    ASSERT_EQ(::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program), 0);
}

/// From now on the process can have `count` descriptors more than it has.
inline void LeaveDescriptors(rlim_t count) {
    const rlim_t limit = OpenDescriptors() + count;
    const rlimit limits{limit, limit};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limits), 0);
}

/// All descriptors that the process can have from now on, of which there are at least `count`.
inline std::vector<UniqueFD> TakeDescriptors(rlim_t count) {
    LeaveDescriptors(count);
    std::vector<UniqueFD> taken;
    do
        taken.push_back(Duplicate(STDERR_FILENO));
    while (taken.back().is_valid());
    taken.pop_back();
    return taken;
}

/// From now on root has no more rights than anybody else.
inline void GiveUpRoot() {
    ASSERT_TRUE(::geteuid() != 0 || ::seteuid(65534) == 0);
}

}  // namespace kiv::testing

#endif  // KIV_BASE_TESTS_CHILD_PROCESS_H_
