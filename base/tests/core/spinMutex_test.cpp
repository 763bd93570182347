#include "kiv/base/spinMutex.h"

#include <barrier>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

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
    std::barrier start(kThreads);
    std::vector<std::thread> threads;

    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            start.arrive_and_wait();
            for (int round = 0; round < kRounds; ++round) {
                SpinMutex::ScopedLock lock(mutex);
                ++count;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(count, kThreads * kRounds);
}

}  // namespace
}  // namespace kiv::detail
