#include "kiv/base/array.h"

namespace kiv {

void Vt_ArrayBase::_DetachCopyHook(const char*) const {}

}  // namespace kiv
