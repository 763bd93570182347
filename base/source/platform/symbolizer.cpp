#include "kiv/base/symbolizer.h"

#include <atomic>

#include "platform/symbolLookup.h"
#include "platform/symbolName.h"

namespace kiv {
namespace {

constexpr int kLongestName = 2000;

enum class State { Idle, Preparing, Ready };
constinit std::atomic<State> state{State::Idle};
static_assert(std::atomic<State>::is_always_lock_free, "read in signal handlers");

}  // namespace

void InitializeSymbolizer(const char* path) {
    State idle = State::Idle;
    if (!state.compare_exchange_strong(idle, State::Preparing))
        return;
    platform::PrepareSymbolLookup(path);
    state.store(State::Ready);
}

bool Symbolize(const void* address, char* out, int size) {
    if (size < 1 || out == nullptr || state.load() != State::Ready)
        return false;
    char name[kLongestName + 1];
    if (!platform::LookUpSymbol(address, name, sizeof(name)))
        return false;
    platform::CopySymbolName(name, out, size);
    return true;
}

}  // namespace kiv
