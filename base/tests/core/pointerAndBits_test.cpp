#include "kiv/base/pointerAndBits.h"

#include <bit>

#include <gtest/gtest.h>

namespace kiv {
namespace {

TEST(PointerAndBitsTest, PointerAndBitsDoNotReachIntoEachOther) {
    double target = 1.5;
    const auto address = reinterpret_cast<std::uintptr_t>(&target);
    for (const std::uintptr_t bits : {0, 1, 5, 7, 8, 15}) {
        SCOPED_TRACE(bits);
        PointerAndBits<double> packed(&target, bits);
        EXPECT_EQ(packed.get(), &target);
        EXPECT_EQ(packed.bits(), bits & 7);
        EXPECT_EQ(std::bit_cast<std::uintptr_t>(packed), address | (bits & 7));
        EXPECT_EQ(packed == PointerAndBits<double>(&target), (bits & 7) == 0);

        packed.set_bits(bits + 1);
        EXPECT_EQ(packed.get(), &target);
        EXPECT_EQ(packed.bits(), (bits + 1) & 7);
    }
    EXPECT_EQ(PointerAndBits<double>().word(), 0u);
    EXPECT_EQ(PointerAndBits<double>(nullptr, 3).get(), nullptr);
}

}  // namespace
}  // namespace kiv
