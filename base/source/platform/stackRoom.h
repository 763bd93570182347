// What stands between a recursion over data of unknown depth and a stack overflow.
//
//     if (!internal::HasStackRoom()) throw std::runtime_error("nested too deeply");
//
// A fixed limit on the depth would refuse good data on a large stack and crash on a small one, so
// the question is what is really left.
#ifndef KIV_BASE_PLATFORM_STACK_ROOM_H_
#define KIV_BASE_PLATFORM_STACK_ROOM_H_

namespace kiv::internal {

/// True while the stack that the caller runs on has room for one more level of a recursion,
/// together with what a level calls: logging, an allocation, the raising of an exception. Costs a
/// few nanoseconds, but for the first question of a thread. Knows the stacks of threads, and of
/// fibers and signal handlers if they end at a guard page.
bool HasStackRoom();

}  // namespace kiv::internal

#endif  // KIV_BASE_PLATFORM_STACK_ROOM_H_
