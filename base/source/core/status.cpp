#include "kiv/base/status.h"

namespace kiv {

Status::Status(StatusCode code, const std::string& message)
    : code_(code), message_(message.empty() ? nullptr : std::make_unique<std::string>(message)) {}

Status::Status(StatusCode code, const char*) : code_(code) {}

void Status::_CopyMessage(const Status& from) {
    if (this != &from)
        message_ = from.message_ ? std::make_unique<std::string>(*from.message_) : nullptr;
}

StatusPtr::~StatusPtr() = default;

}  // namespace kiv
