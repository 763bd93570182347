#include <sys/random.h>

#include "platform/linux/openAt.h"
#include "platform/randomName.h"

namespace kiv::platform {

std::string RandomName() {
    unsigned char bytes[16];
    if (AgainAfterSignal([&] { return ::getrandom(bytes, sizeof(bytes), 0); }) != sizeof(bytes))
        return std::string();
    // Version and variant tell that all other bits are random.
    bytes[6] = static_cast<unsigned char>(0x40 | (bytes[6] & 0x0F));
    bytes[8] = static_cast<unsigned char>(0x80 | (bytes[8] & 0x3F));
    std::string name;
    for (const unsigned char& byte : bytes) {
        const auto index = &byte - bytes;
        if (index == 4 || index == 6 || index == 8 || index == 10)
            name += '-';
        name += "0123456789abcdef"[byte >> 4];
        name += "0123456789abcdef"[byte & 0x0F];
    }
    return name;
}

}  // namespace kiv::platform
