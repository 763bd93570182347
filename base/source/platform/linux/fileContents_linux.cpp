#include <cerrno>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/fileContents.h"
#include "platform/linux/openAt.h"

namespace kiv::platform {
namespace {

int ProtectionOf(ViewAccess access) {
    switch (access) {
        case ViewAccess::Read:
            return PROT_READ;
        case ViewAccess::ReadWrite:
            return PROT_READ | PROT_WRITE;
        case ViewAccess::ReadExecute:
            return PROT_READ | PROT_EXEC;
    }
    return PROT_NONE;
}

}  // namespace

std::optional<uint64> ContentsSize(FileHandle file) {
    struct stat status;
    if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    return static_cast<uint64>(status.st_size);
}

uint8* MapContents(FileHandle file, uint64 size, ViewAccess access) {
    void* view = ::mmap(nullptr, size, ProtectionOf(access), MAP_SHARED, file, 0);
    return view == MAP_FAILED ? nullptr : static_cast<uint8*>(view);
}

void UnmapContents(uint8* view, uint64 size) {
    ::munmap(view, size);
}

bool ReserveContents(FileHandle file, uint64 size) {
    int error = 0;
    do
        error = ::posix_fallocate(file, 0, static_cast<off_t>(size));
    while (error == EINTR);
    return error == 0;
}

bool WriteContents(FileHandle file, uint64 offset, const uint8* data, uint64 size) {
    for (uint64 done = 0; done < size;) {
        const auto at = static_cast<off_t>(offset + done);
        const ssize_t count =
            AgainAfterSignal([=] { return ::pwrite(file, data + done, size - done, at); });
        if (count <= 0)
            return false;
        done += static_cast<uint64>(count);
    }
    return true;
}

bool SyncContents(FileHandle file) {
    return AgainAfterSignal([=] { return ::fsync(file); }) == 0;
}

}  // namespace kiv::platform
