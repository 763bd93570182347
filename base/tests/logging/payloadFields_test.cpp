#include "logging/payloadFields.h"

#include <random>
#include <regex>
#include <string>

#include <gtest/gtest.h>

namespace kiv::logging::internal {
namespace {

TEST(PayloadFieldsTest, TheyAreTheGroupsOfTheExpression) {
    const std::regex expression(R"(\[domain:([^\]]+)\](?:\[tag:([^\]]+)\])?(.+))");
    const std::string tokens[] = {"[domain:", "[tag:", "]", "]", "x", "[", "\n", "\r", "", ":"};
    const unsigned seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    int found = 0;
    for (int round = 0; round < 20000; ++round) {
        // Half of them begin in a way that leads far into the expression.
        std::string text = round % 2 ? "" : "[domain:";
        for (auto left = random() % 14; left > 0; --left)
            text += tokens[random() % std::size(tokens)];
        text.append(random() % 8 == 0 ? 1 : 0, '\0');
        SCOPED_TRACE(text);

        const PayloadFields fields = SplitPayload(text);

        std::smatch match;
        found += std::regex_search(text, match, expression);
        ASSERT_EQ(fields.domain, match.empty() ? "" : match.str(1));
        ASSERT_EQ(fields.tag, match.empty() ? "" : match.str(2));
        ASSERT_EQ(fields.message, match.empty() ? "" : match.str(3));
    }
    EXPECT_GT(found, 2000);
    EXPECT_LT(found, 18000);
}

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
