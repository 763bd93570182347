// Counted pointers to an object of 40 bytes with a virtual destructor.
//
// Four fifths of making one are malloc and free, which each candidate pays for once.
#include <memory>

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>

#include "bench.h"
#include "kiv/base/refPtr.h"

namespace {

using kiv::bench::Keep;

struct Plain {
    virtual ~Plain() = default;
    double numbers[3] = {1, 2, 3};
};

struct Counted : kiv::RefCountedThreadSafe<Counted> {
    virtual ~Counted() = default;
    double numbers[3] = {1, 2, 3};
};

struct BoostCounted : boost::intrusive_ref_counter<BoostCounted, boost::thread_safe_counter> {
    virtual ~BoostCounted() = default;
    double numbers[3] = {1, 2, 3};
};

auto Make(const Counted*) {
    return kiv::MakeRefCounted<Counted>();
}
auto Make(const Plain*) {
    return std::make_shared<Plain>();
}
auto Make(const BoostCounted*) {
    return boost::intrusive_ptr<BoostCounted>(new BoostCounted);
}

template <class T>
void Copy(benchmark::State& state) {
    const auto source = Make(static_cast<const T*>(nullptr));
    for (auto _ : state) {
        auto copy = source;
        Keep(copy);
    }
}

template <class T>
void Create(benchmark::State& state) {
    for (auto _ : state) {
        auto made = Make(static_cast<const T*>(nullptr));
        Keep(made);
    }
}

#define KIV_BENCH_POINTER(T, name)                  \
    BENCHMARK(Copy<T>)->Name("RefPtr: copy/" name); \
    BENCHMARK(Create<T>)->Name("RefPtr: make/" name)

KIV_BENCH_POINTER(Counted, "kiv");
KIV_BENCH_POINTER(Plain, "std::shared_ptr");
KIV_BENCH_POINTER(BoostCounted, "boost::intrusive_ptr");

}  // namespace
