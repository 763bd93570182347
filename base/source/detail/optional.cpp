#include "kiv/base/optional.h"

namespace kiv::detail {

const char* bad_optional_access::what() const noexcept {
    return "bad optional access";
}

}  // namespace kiv::detail
