// The names that the system knows for code in memory.
#ifndef KIV_BASE_PLATFORM_SYMBOL_LOOKUP_H_
#define KIV_BASE_PLATFORM_SYMBOL_LOOKUP_H_

namespace kiv::platform {

/// Makes ready for `LookUpSymbol`. Called once; `program` is the path of the program, or null.
void PrepareSymbolLookup(const char* program);

/// Writes the name of the function that `address` lies in, cut to `size` - 1 characters and with a
/// NUL behind it; false for an address of no known function, and if the files that tell it can't be
/// opened. `size` is not small. Any thread, and in signal handlers: without the heap, without a
/// lock that the interrupted code might hold, with `errno` as it was and no file left open.
bool LookUpSymbol(const void* address, char* out, int size);

}  // namespace kiv::platform

#endif  // KIV_BASE_PLATFORM_SYMBOL_LOOKUP_H_
