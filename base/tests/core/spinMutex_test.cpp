#include "kiv/base/spinMutex.h"

#include <gtest/gtest.h>

#include "support/runTogether.h"

namespace kiv::detail {
namespace {

TEST(SpinMutexTest, HeldMutexRefusesUntilTheScopeLetsGo) {
    SpinMutex mutex;
    {
        SpinMutex::ScopedLock lock(mutex);
        EXPECT_FALSE(mutex.try_lock());
        lock.unlock();
        EXPECT_TRUE(mutex.try_lock());
        mutex.unlock();
        lock.lock();
        EXPECT_FALSE(mutex.try_lock());
    }
    {
        SpinMutex::ScopedLock lock(mutex);
        lock.unlock();
        ASSERT_TRUE(mutex.try_lock());
    }
    EXPECT_FALSE(mutex.try_lock());  // the scope that had let go released nothing twice
}

TEST(SpinMutexTest, OneThreadAtATimeIsInside) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 20000;
    SpinMutex mutex;
    long long count = 0;

    testing::RunTogether(kThreads, [&](int) {
        for (int round = 0; round < kRounds; ++round) {
            SpinMutex::ScopedLock lock(mutex);
            ++count;
        }
    });

    EXPECT_EQ(count, kThreads * kRounds);
}

}  // namespace
}  // namespace kiv::detail
