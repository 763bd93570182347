// The order in which the library comes to life, from top to bottom, and in which it goes, from bottom
// to top. Every object of the library that needs an initialiser at load stands here, so that the order
// can be read instead of being left to the linker.
#include "kiv/base/status.h"

namespace kiv {

constinit const Status Status::Success{StatusCode{0}};
constinit const Status Status::Failure{StatusCode{2}};
constinit const Status Status::InsufficientMemory{StatusCode{3}};
constinit const Status Status::InvalidCast{StatusCode{4}};
constinit const Status Status::InvalidOperation{StatusCode{5}};
constinit const Status Status::InvalidParameter{StatusCode{6}};
constinit const Status Status::NotImplemented{StatusCode{9}};

}  // namespace kiv
