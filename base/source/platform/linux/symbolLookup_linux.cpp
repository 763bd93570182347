#include <cerrno>

#include <absl/debugging/symbolize.h>
#include <fcntl.h>
#include <unistd.h>

#include "platform/linux/openAt.h"
#include "platform/symbolLookup.h"

namespace kiv::platform {
namespace {

// Not a UniqueFD, which locks a mutex as it closes: this runs in signal handlers.
class HeldDescriptor {
public:
    explicit HeldDescriptor(int descriptor) : descriptor_(descriptor) {}
    ~HeldDescriptor() { Release(); }
    HeldDescriptor(const HeldDescriptor&) = delete;
    HeldDescriptor& operator=(const HeldDescriptor&) = delete;

    int get() const { return descriptor_; }
    void Release() {
        if (descriptor_ >= 0)
            ::close(descriptor_);
        descriptor_ = -1;
    }

private:
    int descriptor_;
};

bool AskAbseil(const void* address, char* out, int size) {
    // Where Abseil can't open the list of mappings it complains to the standard error, and finds no
    // name ever after. It has one file open at a time, so two that we can open are let go of, one
    // before each question. What remains is another thread that takes the last one at that moment.
    HeldDescriptor second(
        AgainAfterSignal([] { return ::open("/proc/self/maps", O_RDONLY | O_CLOEXEC); }));
    HeldDescriptor first(::fcntl(second.get(), F_DUPFD_CLOEXEC, 0));
    if (first.get() < 0)
        return false;
    first.Release();
    const bool found = absl::Symbolize(address, out, size);
    // Abseil keeps the files of the modules open that it has read, and programs that are started
    // would inherit them. It lets go of all when it is asked for an address outside of every
    // module.
    second.Release();
    char none[1];
    absl::Symbolize(reinterpret_cast<const void*>(1), none, sizeof(none));
    return found;
}

}  // namespace

void PrepareSymbolLookup(const char* program) {
    absl::InitializeSymbolizer(program);
}

bool LookUpSymbol(const void* address, char* out, int size) {
    const int error = errno;
    const bool found = AskAbseil(address, out, size);
    errno = error;
    return found;
}

}  // namespace kiv::platform
