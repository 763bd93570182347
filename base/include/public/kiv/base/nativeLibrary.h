// A module that was loaded at run time. It stays loaded for as long as somebody holds the object,
// or a `SymbolMapping` (mapping.h), which is the way to what is in it:
//
//     const RefPtr<NativeLibrary> plugin = NativeLibrary::Create("/opt/app/plugin.so");
//     const SymbolMapping entry(plugin, "PluginMain");
//     if (auto* const run = entry.GetFunction<int(int)>())
//         run(kVersion);
//
// All of it may be used from any thread. What fails gives null, and logs nothing.
#ifndef KIV_BASE_NATIVE_LIBRARY_H_
#define KIV_BASE_NATIVE_LIBRARY_H_

#include "kiv/base/export.h"
#include "kiv/base/refPtr.h"

namespace kiv {

/// The system's own handle of a loaded module.
using NativeLibraryHandle = void*;
/// Where a function or object of a module begins.
using NativeLibrarySymbol = void (*)();

class KIV_BASE_API NativeLibrary : public RefCountedThreadSafe<NativeLibrary> {
public:
    /// Loads the module at `path`, or adds to its holders if it is loaded already, with all of its
    /// symbols bound and none of them given to other modules. Runs its initialisers. A bare file
    /// name is looked for where the system looks for the libraries that this one needs. Any other
    /// path names a file, which must be there also if its module is loaded already, and on Linux
    /// has none of the loader's tokens in it, such as "$ORIGIN". Null if `path` is null or empty,
    /// and if the module or what it needs can't be loaded.
    ///
    /// A library is code, and is trusted like code. What is no library, or was cut short as it was
    /// copied, gives null; any other damage may end the process.
    [[nodiscard]] static RefPtr<NativeLibrary> Create(const char* path);
    /// Wraps a module that was loaded elsewhere; with `closeHandle` the object takes it over, and
    /// unloads it. Null for a null `handle`, and then there is nothing to take over.
    [[nodiscard]] static RefPtr<NativeLibrary> CreateWithHandle(NativeLibraryHandle handle,
                                                                bool closeHandle);
    /// The running program, which is never unloaded. On Linux this finds what the program exports
    /// and what the libraries export that it was linked with.
    [[nodiscard]] static RefPtr<NativeLibrary> CreateForCurrentProcess();

private:
    friend class RefCountedThreadSafe<NativeLibrary>;
    friend class SymbolMapping;

    NativeLibrary(NativeLibraryHandle handle, bool closeHandle)
        : handle_(handle), closeHandle_(closeHandle) {}
    ~NativeLibrary();

    NativeLibrarySymbol Resolve(const char* symbol) const;
    NativeLibraryHandle GetHandle() const { return handle_; }

    NativeLibraryHandle handle_;
    const bool closeHandle_;
};

}  // namespace kiv

#endif  // KIV_BASE_NATIVE_LIBRARY_H_
