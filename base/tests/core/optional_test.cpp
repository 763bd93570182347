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

TEST(OptionalTest, HoldsAndLetsGoAsTheStandardOneDoes) {
    optional<std::string> text = "abc";
    EXPECT_EQ(text->size(), 3u);
    EXPECT_EQ(std::as_const(text).value_or("other"), "abc");
    text.reset();
    EXPECT_FALSE(text);
    EXPECT_EQ(text.value_or("other"), "other");
    EXPECT_LT(text, optional<std::string>("abc"));
    EXPECT_EQ(text.emplace(2, 'x'), "xx");
    text = std::nullopt;
    EXPECT_EQ(text, optional<std::string>());

    optional<std::unique_ptr<int>> moved = std::make_unique<int>(5);
    EXPECT_EQ(*std::move(moved).value(), 5);
    EXPECT_TRUE(moved.has_value());
}

TEST(OptionalTest, ComparesWithOptionalsOfOtherTypesAndWithValues) {
    const optional<int> none;
    const optional<int> one = 1;
    const optional<long> long_none;
    const optional<long> long_one = 1;
    const struct {
        const char* name;
        bool holds;
    } cases[] = {
        {"empty ones", none == long_none},
        {"equal ones", one == long_one},
        {"nothing and something", none != long_one && long_one != none},
        {"order", none < long_one && long_one > none && one <= long_one && long_one <= 1},
        {"value", one == 1L && 1L == one && none != 0 && one < 2 && 2 > one && none < -1},
        {"null", none == std::nullopt && std::nullopt != one && one > std::nullopt},
        {"nested", optional<optional<int>>(none) != std::nullopt},
    };
    for (const auto& c : cases)
        EXPECT_TRUE(c.holds) << c.name;

    struct Plain {};
    static_assert(!std::equality_comparable<optional<Plain>>);
    static_assert(!std::three_way_comparable<optional<Plain>>);
    static_assert(!std::equality_comparable_with<optional<int>, optional<std::string>>);
}

TEST(OptionalTest, ConvertsFromOptionalsOfOtherTypesAlsoByMove) {
    struct Base {
        virtual ~Base() = default;
    };
    struct Derived : Base {};
    optional<std::unique_ptr<Derived>> source = std::make_unique<Derived>();
    const Derived* const object = source->get();

    const optional<std::unique_ptr<Base>> moved = std::move(source);
    EXPECT_EQ(moved->get(), object);
    EXPECT_EQ(*source, nullptr);
    EXPECT_FALSE(optional<std::unique_ptr<Base>>(optional<std::unique_ptr<Derived>>()));

    const optional<int> none;
    const optional<int> zero = 0;
    EXPECT_EQ(optional<long>(zero), 0L);
    EXPECT_FALSE(optional<long>(none));
    static_assert(!std::convertible_to<const char*, optional<int>>);
    // Made from the whole optional where that is possible, except for a bool.
    EXPECT_TRUE(optional<optional<int>>(none).has_value());
    EXPECT_EQ(optional<bool>(zero), false);
    EXPECT_FALSE(optional<bool>(none).has_value());
    using Explicit = std::unique_ptr<int>;
    static_assert(std::constructible_from<optional<Explicit>, optional<int*>>);
    static_assert(!std::convertible_to<optional<int*>, optional<Explicit>>);
    static_assert(!std::constructible_from<optional<Explicit>, const optional<Explicit>&&>);
}

TEST(OptionalTest, HashesAsItsValueDoes) {
    EXPECT_EQ(std::hash<optional<int>>()(7), std::hash<int>()(7));
    EXPECT_EQ(std::hash<optional<int>>()({}), std::hash<optional<int>>()(std::nullopt));
    struct Plain {};
    static_assert(!std::is_default_constructible_v<std::hash<optional<Plain>>>);
}

}  // namespace
}  // namespace kiv
