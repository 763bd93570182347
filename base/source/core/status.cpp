#include "kiv/base/status.h"

namespace kiv {

Status::Status(StatusCode code, const char*) : code_(code) {}

Status& Status::operator=(Status&& other) noexcept {
    code_ = other.code_;
    if (this != &other)
        message_ = std::exchange(other.message_, {});
    return *this;
}

StatusPtr::~StatusPtr() = default;

}  // namespace kiv
