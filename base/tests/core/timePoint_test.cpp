#include "kiv/base/timePoint.h"

#include <limits>

#include <gtest/gtest.h>

namespace kiv {
namespace {

constexpr int64 kMin = std::numeric_limits<int64>::min();
constexpr int64 kMax = std::numeric_limits<int64>::max();

TEST(TimePointTest, MomentsAndSpansAddUpInNanoseconds) {
    const TimePoint moment = TimePoint::FromTicks(5'000'000'000);

    EXPECT_EQ((moment + TimeDelta::FromSeconds(2)).ToTicks(), 7'000'000'000);
    EXPECT_EQ((moment - TimeDelta::FromMilliseconds(1)).ToTicks(), 4'999'000'000);
    EXPECT_EQ((TimePoint() - moment).ToSeconds(), -5);
    EXPECT_EQ(TimeDelta::FromMicroseconds(-1999).ToMilliseconds(), -1);
    EXPECT_EQ((TimeDelta::FromNanoseconds(3) - TimeDelta::FromMicroseconds(1)).ToNanoseconds(),
              -997);
    EXPECT_EQ(-(TimeDelta::FromSeconds(1) + TimeDelta::FromSeconds(2)), TimeDelta::FromSeconds(-3));
}

TEST(TimePointTest, ComparisonIsSignedAndSumsWrap) {
    EXPECT_LT(TimePoint::FromTicks(-1), TimePoint());
    EXPECT_LT(TimePoint::FromTicks(kMin), TimePoint::FromTicks(kMax));
    EXPECT_GE(TimeDelta(), TimeDelta::FromNanoseconds(-1));

    EXPECT_EQ((TimePoint::FromTicks(kMax) + TimeDelta::FromNanoseconds(1)).ToTicks(), kMin);
    EXPECT_EQ((TimePoint::FromTicks(kMin) - TimePoint::FromTicks(1)).ToNanoseconds(), kMax);
    EXPECT_EQ(-TimeDelta::FromNanoseconds(kMin), TimeDelta::FromNanoseconds(kMin));
}

}  // namespace
}  // namespace kiv
