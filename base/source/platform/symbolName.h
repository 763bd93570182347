// How a name is cut that is too long for its buffer.
#ifndef KIV_BASE_PLATFORM_SYMBOL_NAME_H_
#define KIV_BASE_PLATFORM_SYMBOL_NAME_H_

namespace kiv::platform {

/// Copies `name` to the `size` characters at `out`, at least one, and fills what is left with NULs.
/// If it does not fit with a NUL behind it, up to three dots take the place of what stands last.
/// May be called in a signal handler.
void CopySymbolName(const char* name, char* out, int size);

}  // namespace kiv::platform

#endif  // KIV_BASE_PLATFORM_SYMBOL_NAME_H_
