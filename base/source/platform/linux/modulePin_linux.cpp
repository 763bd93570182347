#include <algorithm>
#include <atomic>
#include <iterator>

#include <dlfcn.h>
#include <link.h>

#include "platform/modulePin.h"

namespace kiv::platform {
namespace {

// The modules that are pinned already, so that the loader is asked once for each; when the list is
// full, it is asked again and says the same.
constinit std::atomic<const link_map*> pinned[64];

bool IsPinned(const link_map* module) {
    return std::any_of(std::begin(pinned), std::end(pinned), [module](const auto& known) {
        return known.load(std::memory_order_relaxed) == module;
    });
}

void NotePinned(const link_map* module) {
    for (auto& place : pinned) {
        const link_map* none = nullptr;
        if (place.compare_exchange_strong(none, module, std::memory_order_relaxed) ||
            none == module)
            return;
    }
}

}  // namespace

void PinModuleOf(const void* address) {
    dl_find_object found;
    if (_dl_find_object(const_cast<void*>(address), &found) != 0)
        return;
    const link_map* module = found.dlfo_link_map;
    if (IsPinned(module))
        return;
    // The main program has an empty name and is never unmapped. The handle is not closed: the flag
    // works for as long as the loader knows the module.
    if (module->l_name != nullptr && module->l_name[0] != '\0')
        ::dlopen(module->l_name, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
    NotePinned(module);
}

void PinModuleOfClass(const void* object) {
    // The first word of a polymorphic object points at its table of virtual functions.
    PinModuleOf(*static_cast<const void* const*>(object));
}

}  // namespace kiv::platform
