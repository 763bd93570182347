#include "platform/appendedFile.h"
#include "platform/linux/openAt.h"

namespace kiv::platform {

std::error_code TryToAppend(const char* name) {
    const UniqueFD file = OpenAt(AT_FDCWD, name, O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK);
    return file.is_valid() ? std::error_code() : std::error_code(errno, std::generic_category());
}

void KeepFromChildren(std::FILE* file) {
    ::fcntl(::fileno(file), F_SETFD, FD_CLOEXEC);
}

}  // namespace kiv::platform
