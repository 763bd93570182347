// Interned texts: a thousand names that a scene might have, 5 to 30 characters long.
//
// A hit looks up a name that is there, and lets go of the result. Only our mortal tokens and the
// flyweight in its default form count their holders; our immortal ones keep a text for good, as the
// other peers do. Two threads walk over the same names or over names of their own; their time is
// that of all look-ups on the clock, so half of what one thread takes is the best that can be had.
// A miss adds a text that was not there, and every one of them is held.
#include <algorithm>
#include <mutex>
#include <random>
#include <string>
#include <unordered_set>
#include <vector>

#include <boost/flyweight.hpp>
#include <boost/flyweight/no_tracking.hpp>
#include <glib.h>

#include "bench.h"
#include "kiv/base/token.h"

namespace {

using kiv::bench::Keep;

struct Immortal {
    explicit Immortal(const std::string& text) : token(text, kiv::Token::Immortal) {}
    kiv::Token token;
};

using CountedFlyweight = boost::flyweight<std::string>;
using LastingFlyweight = boost::flyweight<std::string, boost::flyweights::no_tracking>;

/// What one writes by hand.
class LockedSet {
public:
    explicit LockedSet(const std::string& text) : text_(Find(text)) {}

private:
    static const std::string* Find(const std::string& text) {
        static std::mutex mutex;
        static std::unordered_set<std::string> texts;
        const std::lock_guard lock(mutex);
        return &*texts.insert(text).first;
    }
    const std::string* text_;
};

class GlibText {
public:
    explicit GlibText(const std::string& text) : text_(g_intern_string(text.c_str())) {}

private:
    const char* text_;
};

std::vector<std::string> MakeNames(std::size_t count) {
    const char* const words[] = {
        "mesh",   "position", "normal", "tangent", "material", "albedo",  "rough",    "light",
        "camera", "bone",     "weight", "shadow",  "instance", "visible", "exposure", "map"};
    std::vector<std::string> names;
    for (std::size_t i = 0; names.size() < count; ++i) {
        std::string name = words[i % 16];
        for (std::size_t rest = i / 16, part = 0; part < i % 4; ++part, rest /= 5)
            name += std::string("/") + words[rest * 7 % 16];
        names.push_back(name + std::to_string(i));
    }
    return names;
}

/// Named by what two threads have in common; one thread alone takes either.
enum class Names { Same, Own };

template <class T, Names kind>
void Hit(benchmark::State& state) {
    static const std::vector<std::string> names = MakeNames(1000);
    static const std::vector<T> held(names.begin(), names.end());
    Keep(held);

    // Not in the order in which they came in, which the memory of a table may reflect.
    std::vector<std::string> shuffled = names;
    std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(1));
    const std::size_t share = shuffled.size() / static_cast<std::size_t>(state.threads());
    const auto mine = shuffled.begin() + state.thread_index() * static_cast<std::ptrdiff_t>(share);
    if (kind == Names::Same)
        std::rotate(shuffled.begin(), mine, shuffled.end());
    else
        shuffled = {mine, mine + static_cast<std::ptrdiff_t>(share)};
    // Copied, so that their characters lie in the order of asking.
    const std::vector<std::string> asked(shuffled);

    std::size_t next = 0;
    for (auto _ : state) {
        const T token(asked[next]);
        Keep(token);
        if (++next == asked.size())
            next = 0;
    }
}

constexpr int kMisses = 100000;

template <class T>
void Miss(benchmark::State& state) {
    static const std::vector<std::string> names = MakeNames(kMisses);
    std::vector<T> held;
    held.reserve(names.size());

    for (auto _ : state)
        held.emplace_back(names[held.size()]);
    Keep(held);
}

#define KIV_BENCH_HITS(T, row, name)                                     \
    BENCHMARK(Hit<T, Names::Same>)->Name("Token: " row "/" name);        \
    BENCHMARK(Hit<T, Names::Own>)                                        \
        ->Name("Token: " row ", two threads with their own names/" name) \
        ->Threads(2)                                                     \
        ->UseRealTime();                                                 \
    BENCHMARK(Hit<T, Names::Same>)                                       \
        ->Name("Token: " row ", two threads with the same names/" name)  \
        ->Threads(2)                                                     \
        ->UseRealTime()
#define KIV_BENCH_MISS(T, name) BENCHMARK(Miss<T>)->Name("Token: miss/" name)->Iterations(kMisses)
#define KIV_BENCH_LASTING(T, name)           \
    KIV_BENCH_HITS(T, "hit", name);          \
    KIV_BENCH_HITS(T, "immortal hit", name); \
    KIV_BENCH_MISS(T, name)

KIV_BENCH_HITS(kiv::Token, "hit", "kiv");
KIV_BENCH_HITS(Immortal, "immortal hit", "kiv");
KIV_BENCH_MISS(kiv::Token, "kiv");
KIV_BENCH_HITS(CountedFlyweight, "hit", "boost::flyweight");
KIV_BENCH_MISS(CountedFlyweight, "boost::flyweight");
KIV_BENCH_LASTING(LastingFlyweight, "boost::flyweight without counting");
KIV_BENCH_LASTING(GlibText, "g_intern_string");
KIV_BENCH_LASTING(LockedSet, "std::unordered_set and a mutex");

}  // namespace
