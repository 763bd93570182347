// What every file of benchmarks shares. A file `array_bench.cpp` is a program of its own, named in
// CMakeLists.txt with the peers that it links:
//
//     kiv_add_benchmark(array Qt6::Core)
//
// A benchmark is named "row/candidate": ours is the candidate `kiv`, one whose name begins with
// `limit` is what the work costs without any library, and all others are peers.
//
//     template <class A>
//     void Copy(benchmark::State& state) {
//         const A source(1000);
//         for (auto _ : state) {
//             A copy(source);
//             Keep(copy);
//         }
//     }
//     BENCHMARK(Copy<kiv::Array<int>>)->Name("Array: copy/kiv");
//     BENCHMARK(Copy<std::vector<int>>)->Name("Array: copy/std::vector");
//
// What a row has to reach stands in goals.txt. `scripts/bench` runs each benchmark in a process of
// its own, because what one of them leaves in the heap and in the caches is felt by the next.
#ifndef KIV_BASE_BENCHMARKS_BENCH_H_
#define KIV_BASE_BENCHMARKS_BENCH_H_

#include <benchmark/benchmark.h>

namespace kiv::bench {

/// Makes the compiler believe that `value`, and all memory that it leads to, is read here. Takes
/// the place of `benchmark::DoNotOptimize`, which cannot be relied on with GCC 12 at -O2.
template <class T>
inline void Keep(const T& value) {
    asm volatile("" : : "m"(value) : "memory");
}

/// Makes the compiler believe that `value` was changed here, so that it can't know the outcome of
/// the work beforehand, nor do it once for all rounds of the loop.
template <class T>
inline void Renew(T& value) {
    asm volatile("" : "+m"(value) : : "memory");
}

}  // namespace kiv::bench

#endif  // KIV_BASE_BENCHMARKS_BENCH_H_
