#include "logging/payloadFields.h"

#include <string>

#include <gtest/gtest.h>

namespace kiv::logging::internal {
namespace {

TEST(PayloadFieldsTest, LongTextsTakeNoStackAndNoSquareOfTheirLength) {
    std::string starts;
    while (starts.size() < 8000000)
        starts += "[domain:";

    EXPECT_TRUE(SplitPayload(starts).domain.empty());
    EXPECT_TRUE(SplitPayload(starts + "]\n").domain.empty());
    EXPECT_EQ(SplitPayload("[domain:a]" + starts).message, starts);
}

}  // namespace
}  // namespace kiv::logging::internal
