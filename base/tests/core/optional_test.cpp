#include "kiv/base/optional.h"

#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

namespace kiv {
namespace {

TEST(OptionalTest, EmptyAccessRaisesItsOwnClassAndText) {
    optional<int> mutable_empty;
    const optional<int> empty;

    EXPECT_THROW(static_cast<void>(mutable_empty.value()), detail::bad_optional_access);
    EXPECT_THROW(static_cast<void>(std::move(mutable_empty).value()), std::bad_optional_access);
    try {
        static_cast<void>(empty.value());
        FAIL();
    } catch (const std::exception& error) {
        EXPECT_STREQ(error.what(), "bad optional access");
    }
}

TEST(OptionalTest, HoldsComparesAndConvertsAsTheStandardOneDoes) {
    optional<std::string> text = "abc";
    EXPECT_EQ(text, "abc");
    EXPECT_EQ(text->size(), 3u);
    EXPECT_NE(text, std::nullopt);
    EXPECT_EQ(std::as_const(text).value_or("other"), "abc");

    const optional<std::string> copy = text;
    text.reset();
    EXPECT_FALSE(text);
    EXPECT_EQ(text.value_or("other"), "other");
    EXPECT_LT(text, copy);
    EXPECT_EQ(text.emplace(2, 'x'), "xx");
    text = std::nullopt;
    EXPECT_EQ(text, optional<std::string>());

    const optional<int> number = 0;
    EXPECT_TRUE(number);
    EXPECT_EQ(optional<long>(number), 0L);
    EXPECT_FALSE(optional<long>(optional<int>()));
    static_assert(!std::convertible_to<const char*, optional<int>>);

    optional<std::unique_ptr<int>> moved = std::make_unique<int>(5);
    EXPECT_EQ(*std::move(moved).value(), 5);
    EXPECT_TRUE(moved.has_value());
}

}  // namespace
}  // namespace kiv
