#include <cerrno>

#include <absl/debugging/symbolize.h>

#include "platform/symbolLookup.h"

namespace kiv::platform {

void PrepareSymbolLookup(const char* program) {
    absl::InitializeSymbolizer(program);
}

bool LookUpSymbol(const void* address, char* out, int size) {
    const int error = errno;
    const bool found = absl::Symbolize(address, out, size);
    // Abseil keeps the files of the modules open that it has read, and programs that are started
    // would inherit them. It lets go of all when it is asked for an address outside of every
    // module.
    char none[1];
    absl::Symbolize(reinterpret_cast<const void*>(1), none, sizeof(none));
    errno = error;
    return found;
}

}  // namespace kiv::platform
