// The names of functions for the addresses of their code, for backtraces.
//
//     InitializeSymbolizer(argv[0]);
//     ...
//     char name[128];
//     if (!Symbolize(address, name, sizeof(name))) std::strcpy(name, "?");
//
// Names come from the symbol tables in the files of the program and its modules: those of all
// functions, or in a file that was stripped of the exported ones alone. Parameters and arguments of
// templates are left out, `Array<>::Append()`, and a name too intricate to take apart stays as the
// compiler mangled it.
#ifndef KIV_BASE_SYMBOLIZER_H_
#define KIV_BASE_SYMBOLIZER_H_

#include "kiv/base/export.h"

namespace kiv {

/// Called once, as the program starts; further calls do nothing. `path` is that of the program, and
/// may be null.
KIV_BASE_API void InitializeSymbolizer(const char* path);

/// Writes the name of the function that `address` lies in to `out`, which has room for `size`
/// characters. A name that is cut ends in "...", or as many of the three as there is room for; the
/// end of the text is marked by NUL in any case. False, with `out` left alone, before
/// `InitializeSymbolizer`, for an address of no known function, without room for the NUL, and while
/// the process can't open two more files.
///
/// Any thread. May be called in a signal handler: it allocates nothing from the heap, leaves
/// `errno` alone, keeps no file open, and needs 64 KiB of stack. The name of code that was unloaded
/// may stand for what has been loaded in its place.
KIV_BASE_API bool Symbolize(const void* address, char* out, int size);

}  // namespace kiv

#endif  // KIV_BASE_SYMBOLIZER_H_
