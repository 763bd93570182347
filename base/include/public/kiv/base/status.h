// The result of an operation that can fail: a code, and an optional text for the caller's own use.
//
//     Status status;
//     int count = value.Get<int>(&status);
//     if (!status) return status;
//
// A `Status` is a plain value and belongs to one thread at a time; the named constants may be read
// from any thread and at any time between the load and the unload of the library.
#ifndef KIV_BASE_STATUS_H_
#define KIV_BASE_STATUS_H_

#include <memory>
#include <string>

#include "kiv/base/export.h"
#include "kiv/base/integers.h"

namespace kiv {

/// The code of a `Status`. Seven values have a name, each as a constant of `Status`.
enum class StatusCode : uint32 {};

class KIV_BASE_API Status {
public:
    static const Status Success;
    static const Status Failure;
    static const Status InsufficientMemory;
    static const Status InvalidCast;
    static const Status InvalidOperation;
    static const Status InvalidParameter;
    static const Status NotImplemented;

    /// Success, with an empty message.
    constexpr Status() = default;
    constexpr Status(StatusCode code) : code_(code) {}
    Status(StatusCode code, const std::string& message);
    /// Records the code alone: texts are logged where something is known, not carried along.
    Status(StatusCode code, const char* message);
    /// The same for a printf format. It is a template because an ellipsis would make the form with
    /// one text ambiguous.
    template <class... Args>
    requires(sizeof...(Args) > 0) Status(StatusCode code, const char* format, const Args&...)
        : Status(code, format) {}

    Status(const Status& other) : code_(other.code_) {
        if (other.message_)
            _CopyMessage(other);
    }
    Status& operator=(const Status& other) {
        // The code comes second: without memory for the message all stays as it was.
        if (message_ || other.message_)
            _CopyMessage(other);
        code_ = other.code_;
        return *this;
    }
    /// Takes the message and leaves the source with its code and an empty message.
    Status(Status&& other) noexcept = default;
    Status& operator=(Status&& other) noexcept = default;
    ~Status() = default;

    /// True means success.
    operator bool() const { return code_ == StatusCode{}; }

    StatusCode code() const { return code_; }
    std::string Message() const { return message_ ? *message_ : std::string(); }

    /// Compares the codes alone.
    bool operator==(const Status& other) const { return code_ == other.code_; }

private:
    void _CopyMessage(const Status& from);

    StatusCode code_{};
    // Null for the empty message, which nearly every status has: copying one then costs a store,
    // and the constants need no initialiser that runs at load.
    std::unique_ptr<std::string> message_;
};

/// One place to report to, for an operation with an optional `Status*` parameter: the caller's
/// `Status` if there is one, its own otherwise. Binding it resets the target to success.
class KIV_BASE_API StatusPtr {
public:
    explicit StatusPtr(Status* target) : target_(target ? target : &own_) {
        *target_ = Status::Success;
    }
    ~StatusPtr();
    StatusPtr(const StatusPtr&) = delete;
    StatusPtr& operator=(const StatusPtr&) = delete;
    StatusPtr& operator=(const Status& status) {
        *target_ = status;
        return *this;
    }

private:
    Status own_;
    Status* target_;
};

}  // namespace kiv

#endif  // KIV_BASE_STATUS_H_
