#include "kiv/base/serializer.h"

namespace kiv {

Serializer::~Serializer() = default;

}  // namespace kiv
