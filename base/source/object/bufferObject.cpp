#include "kiv/base/bufferObject.h"

namespace kiv {

BufferObject::~BufferObject() = default;

}  // namespace kiv
