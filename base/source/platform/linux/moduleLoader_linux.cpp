#include <cstring>

#include <dlfcn.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kiv/base/file.h"
#include "platform/linux/openAt.h"
#include "platform/moduleLoader.h"

namespace kiv::platform {
namespace {

template <class Record>
bool ReadAt(int file, uint64 offset, Record* record) {
    const ssize_t count = AgainAfterSignal(
        [=] { return ::pread(file, record, sizeof(*record), static_cast<off_t>(offset)); });
    return count == sizeof(*record);
}

bool LiesWithin(uint64 offset, uint64 size, uint64 fileSize) {
    return offset <= fileSize && size <= fileSize - offset;
}

// The loader maps the segments of a file and does not look whether the file has them all: what a
// broken-off download leaves behind would end the process with a signal. All else that is wrong
// with the headers the loader finds by itself.
bool IsWholeModule(int file) {
    struct stat status;
    ElfW(Ehdr) header;
    if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode) || !ReadAt(file, 0, &header) ||
        std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0)
        return false;
    const auto fileSize = static_cast<uint64>(status.st_size);
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        ElfW(Phdr) segment;
        if (!LiesWithin(header.e_phoff, (i + 1) * sizeof(segment), fileSize) ||
            !ReadAt(file, header.e_phoff + i * sizeof(segment), &segment) ||
            !LiesWithin(segment.p_offset, segment.p_filesz, fileSize))
            return false;
    }
    return true;
}

bool NamesWholeModule(const char* path) {
    // Without waiting for the other end of a pipe.
    const UniqueFD file = OpenFile(path, false, FilePermission::Read);
    return file.is_valid() && IsWholeModule(file.get());
}

}  // namespace

NativeLibraryHandle LoadModule(const char* path) {
    // A name without a separator is the loader's to find.
    if (std::strchr(path, '/') != nullptr && !NamesWholeModule(path))
        return nullptr;
    return ::dlopen(path, RTLD_NOW | RTLD_LOCAL);
}

void UnloadModule(NativeLibraryHandle module) {
    ::dlclose(module);
}

NativeLibraryHandle ProgramModule() {
    return ::dlopen(nullptr, RTLD_NOW | RTLD_LOCAL);
}

SymbolAddress FindSymbol(NativeLibraryHandle module, const char* symbol) {
    return reinterpret_cast<SymbolAddress>(::dlsym(module, symbol));
}

}  // namespace kiv::platform
