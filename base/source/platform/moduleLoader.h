// The system's loader: modules by their paths, and symbols by their names.
#ifndef KIV_BASE_PLATFORM_MODULE_LOADER_H_
#define KIV_BASE_PLATFORM_MODULE_LOADER_H_

#include "kiv/base/nativeLibrary.h"

namespace kiv::platform {

/// Loads a module with all of its symbols bound, or counts one more holder. Null if that fails; a
/// path that names no module, or one that was cut short, gives null without harm and without
/// waiting for anybody. `path` is not empty.
NativeLibraryHandle LoadModule(const char* path);

/// Takes one holder away; the last one takes the module along.
void UnloadModule(NativeLibraryHandle module);

/// The running program. Never null, and not to be unloaded.
NativeLibraryHandle ProgramModule();

/// Where the function or object of this name begins that is in the module itself, or for the
/// program, in it or what it was linked with. Null if there is none.
NativeLibrarySymbol FindSymbol(NativeLibraryHandle module, const char* symbol);

}  // namespace kiv::platform

#endif  // KIV_BASE_PLATFORM_MODULE_LOADER_H_
