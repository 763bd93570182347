// The system's loader: modules by their paths, and symbols by their names.
#ifndef KIV_BASE_PLATFORM_MODULE_LOADER_H_
#define KIV_BASE_PLATFORM_MODULE_LOADER_H_

#include "kiv/base/nativeLibrary.h"

namespace kiv::platform {

using SymbolAddress = void (*)();

/// Loads a module with all of its symbols bound, or counts one more holder. Null if that fails; a
/// path that names something else than a whole module gives null without waiting for anybody, and
/// does no harm. `path` is not empty.
NativeLibraryHandle LoadModule(const char* path);

/// Takes one holder away; the last one takes the module along.
void UnloadModule(NativeLibraryHandle module);

/// The running program. Never null, and not to be unloaded.
NativeLibraryHandle ProgramModule();

/// Where the function or object of this name begins, or null.
SymbolAddress FindSymbol(NativeLibraryHandle module, const char* symbol);

}  // namespace kiv::platform

#endif  // KIV_BASE_PLATFORM_MODULE_LOADER_H_
