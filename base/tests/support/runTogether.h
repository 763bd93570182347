// Runs threads that start together.
//
//     RunTogether(4, [&](int number) { ... });
#ifndef KIV_BASE_TESTS_RUN_TOGETHER_H_
#define KIV_BASE_TESTS_RUN_TOGETHER_H_

#include <barrier>
#include <thread>
#include <vector>

namespace kiv::testing {

/// Calls `work` with 0 to `count` - 1, each on a thread of its own, and returns when all have
/// ended. No call begins before all threads are there.
template <class Work>
void RunTogether(int count, const Work& work) {
    std::barrier start(count);
    std::vector<std::thread> threads;
    for (int number = 0; number < count; ++number) {
        threads.emplace_back([&, number] {
            start.arrive_and_wait();
            work(number);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

}  // namespace kiv::testing

#endif  // KIV_BASE_TESTS_RUN_TOGETHER_H_
