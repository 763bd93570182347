#include <semaphore>
#include <thread>

#include <benchmark/benchmark.h>

int main(int argc, char** argv) {
    // In a process of one thread the standard library counts references without atomic operations,
    // which no program of the engine ever sees: a second thread waits here until the end.
    std::binary_semaphore finished(0);
    std::thread parked([&finished] { finished.acquire(); });

    benchmark::Initialize(&argc, argv);
    const bool understood = !benchmark::ReportUnrecognizedArguments(argc, argv);
    if (understood)
        benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();

    finished.release();
    parked.join();
    return understood ? 0 : 1;
}
