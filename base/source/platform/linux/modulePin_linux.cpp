#include <atomic>

#include <dlfcn.h>
#include <link.h>

#include "platform/modulePin.h"

namespace kiv::platform {

void PinModuleOf(const void* address) {
    // A module declares its types in a row, so the one that was pinned last is nearly always the
    // one that asks again.
    static std::atomic<const link_map*> last{nullptr};

    dl_find_object found;
    if (_dl_find_object(const_cast<void*>(address), &found) != 0)
        return;
    const link_map* module = found.dlfo_link_map;
    if (last.load(std::memory_order_relaxed) == module)
        return;
    last.store(module, std::memory_order_relaxed);
    // The main program has an empty name and is never unmapped. The handle is not closed: the flag
    // works for as long as the loader knows the module.
    if (module->l_name != nullptr && module->l_name[0] != '\0')
        ::dlopen(module->l_name, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
}

}  // namespace kiv::platform
