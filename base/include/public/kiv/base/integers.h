// The integers of exact width, under the names that the whole library uses.
#ifndef KIV_BASE_INTEGERS_H_
#define KIV_BASE_INTEGERS_H_

#include <cstdint>

namespace kiv {

using int8 = std::int8_t;
using int16 = std::int16_t;
using int32 = std::int32_t;
using int64 = std::int64_t;
using uint8 = std::uint8_t;
using uint16 = std::uint16_t;
using uint32 = std::uint32_t;
using uint64 = std::uint64_t;

}  // namespace kiv

#endif  // KIV_BASE_INTEGERS_H_
