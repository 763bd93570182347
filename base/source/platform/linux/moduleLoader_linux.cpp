#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

#include <dlfcn.h>
#include <link.h>
#include <sys/auxv.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kiv/base/file.h"
#include "platform/linux/openAt.h"
#include "platform/moduleLoader.h"

namespace kiv::platform {
namespace {

// Many times what a linker makes. The loader copies them all to the stack.
constexpr unsigned kMostProgramHeaders = 512;

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
// broken-off download leaves behind would end the process with a signal. Such a file is found here,
// and one that is no module at all. One that was damaged inside is not: the loader believes much of
// what it reads, and whoever can change a library can do as they like by its code.
bool IsWholeModule(int file) {
    struct stat status;
    ElfW(Ehdr) header;
    if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode) || !ReadAt(file, 0, &header) ||
        std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0)
        return false;
    if (header.e_phnum > kMostProgramHeaders)
        return false;
    const auto fileSize = static_cast<uint64>(status.st_size);
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        ElfW(Phdr) segment;
        if (!LiesWithin(header.e_phoff, (i + 1) * sizeof(segment), fileSize) ||
            !ReadAt(file, header.e_phoff + i * sizeof(segment), &segment))
            return false;
        if (segment.p_type == PT_LOAD &&
            (segment.p_filesz > segment.p_memsz ||
             !LiesWithin(segment.p_offset, segment.p_filesz, fileSize)))
            return false;
    }
    return true;
}

// The loader puts folders in place of these, and would take another file than was looked at.
bool HasLoaderToken(std::string_view path) {
    constexpr std::string_view kTokens[] = {"$ORIGIN",   "$LIB",   "$PLATFORM",
                                            "${ORIGIN}", "${LIB}", "${PLATFORM}"};
    return std::any_of(std::begin(kTokens), std::end(kTokens), [path](std::string_view token) {
        return path.find(token) != std::string_view::npos;
    });
}

bool NamesWholeModule(const char* path) {
    if (HasLoaderToken(path))
        return false;
    // Without waiting for the other end of a pipe.
    const UniqueFD file = OpenFile(path, false, FilePermission::Read);
    return file.is_valid() && IsWholeModule(file.get());
}

// `dlsym` also finds what the libraries have that the module needs. The program stands for all that
// it was linked with; its name is empty.
bool BelongsTo(NativeLibraryHandle module, const void* address) {
    const link_map* own = nullptr;
    if (::dlinfo(module, RTLD_DI_LINKMAP, &own) != 0 || *own->l_name == '\0')
        return true;
    Dl_info place;
    void* found = nullptr;
    // In no module lies what each thread has of its own.
    if (::dladdr1(address, &place, &found, RTLD_DL_LINKMAP) == 0)
        return true;
    // Functions of the kernel go under names of the C library.
    return found == own ||
           reinterpret_cast<std::uintptr_t>(place.dli_fbase) == ::getauxval(AT_SYSINFO_EHDR);
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

NativeLibrarySymbol FindSymbol(NativeLibraryHandle module, const char* symbol) {
    void* const found = ::dlsym(module, symbol);
    return found && BelongsTo(module, found) ? reinterpret_cast<NativeLibrarySymbol>(found)
                                             : nullptr;
}

}  // namespace kiv::platform
