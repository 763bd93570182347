// Sequences of ints. A std::vector shares nothing, so its copy is the copy that the others put off.
#include <QList>
#include <vector>

#include "bench.h"
#include "kiv/base/array.h"

namespace {

using kiv::bench::Keep;

constexpr int kMillion = 1'000'000;
constexpr int kIntsIn4MB = 4 * 1024 * 1024 / sizeof(int);

template <class Sequence>
Sequence Ascending(int count) {
    Sequence sequence;
    for (int i = 0; i < count; ++i)
        sequence.push_back(i);
    return sequence;
}

template <class Sequence>
void Copy(benchmark::State& state) {
    const Sequence source = Ascending<Sequence>(1000);
    for (auto _ : state) {
        Sequence copy(source);
        Keep(copy);
    }
}

template <class Sequence>
void Append(benchmark::State& state) {
    for (auto _ : state) {
        Sequence sequence = Ascending<Sequence>(kMillion);
        Keep(sequence);
    }
}

template <class Sequence>
void Detach(benchmark::State& state) {
    const Sequence source = Ascending<Sequence>(kIntsIn4MB);
    for (auto _ : state) {
        Sequence copy(source);
        copy[0] = 1;
        Keep(copy);
    }
}

#define KIV_BENCH_SEQUENCE(Sequence, name)                                     \
    BENCHMARK(Copy<Sequence>)->Name("Array: copy/" name);                      \
    BENCHMARK(Append<Sequence>)->Name("Array: a million ints appended/" name); \
    BENCHMARK(Detach<Sequence>)->Name("Array: detach of 4 MB/" name)

KIV_BENCH_SEQUENCE(kiv::Array<int>, "kiv");
KIV_BENCH_SEQUENCE(std::vector<int>, "std::vector");
KIV_BENCH_SEQUENCE(QList<int>, "QList");

}  // namespace
