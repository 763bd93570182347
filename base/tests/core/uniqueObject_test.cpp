#include "kiv/base/uniqueObject.h"

#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/logCatcher.h"

namespace kiv {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;

struct NumberTraits {
    static int InvalidValue() { return -1; }
    static bool IsValid(int value) { return value >= 0; }
    static void Free(int value) { freed.push_back(value); }

    static inline std::vector<int> freed;
};
using Number = UniqueObject<int, NumberTraits>;

TEST(UniqueObjectTest, EachValueIsFreedOnce) {
    {
        Number number(1);
        Number other;
        EXPECT_FALSE(other.is_valid());

        number.reset(2);
        EXPECT_THAT(NumberTraits::freed, ElementsAre(1));
        other = std::move(number);
        EXPECT_FALSE(number.is_valid());
        Number& self = other;
        other = std::move(self);
        EXPECT_EQ(other.get(), 2);

        other.reset(NumberTraits::InvalidValue());
        other.reset(NumberTraits::InvalidValue());
        EXPECT_FALSE(other.is_valid());
        EXPECT_THAT(NumberTraits::freed, ElementsAre(1, 2));

        number.reset(3);
        EXPECT_EQ(number.release(), 3);
        other.reset(4);
    }
    EXPECT_THAT(NumberTraits::freed, ElementsAre(1, 2, 4));
}

TEST(UniqueObjectTest, ResetWithTheHeldValueIsReportedAndKeepsIt) {
    testing::LogCatcher log;
    NumberTraits::freed.clear();
    Number number(1);

    number.reset(1);

    EXPECT_TRUE(NumberTraits::freed.empty());
    EXPECT_EQ(number.get(), 1);
    const auto lines = log.Take();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0].payload, EndsWith("data_.generic == Traits::InvalidValue() || "
                                           "data_.generic != value"));
}

}  // namespace
}  // namespace kiv
