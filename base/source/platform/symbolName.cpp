#include "platform/symbolName.h"

#include <algorithm>
#include <cstring>

namespace kiv::platform {

void CopySymbolName(const char* name, char* out, int size) {
    const std::size_t length = std::strlen(name);
    const auto room = static_cast<std::size_t>(size) - 1;
    const std::size_t kept = std::min(length, room);
    std::memcpy(out, name, kept);
    std::memset(out + kept, '\0', room + 1 - kept);
    if (length > room) {
        const std::size_t dots = std::min<std::size_t>(room, 3);
        std::memset(out + room - dots, '.', dots);
    }
}

}  // namespace kiv::platform
