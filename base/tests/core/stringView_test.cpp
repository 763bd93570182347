#include "kiv/base/stringView.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace kiv {
namespace {

using namespace std::string_view_literals;

// One expression for both kinds of view: of a text, another text, a character and a position.
struct Operation {
    const char* name;
    std::string (*ours)(StringView, StringView, char, std::size_t);
    std::string (*standard)(std::string_view, std::string_view, char, std::size_t);
};

template <class Answer>
std::string asText(const Answer& answer) {
    if constexpr (std::is_arithmetic_v<Answer>)
        return std::to_string(answer);
    else
        return std::string(answer);
}

int sign(int number) {
    return (number > 0) - (number < 0);
}

template <class View>
std::string afterRemoval(View text, std::size_t front, std::size_t back) {
    text.remove_prefix(std::min(front, text.size()));
    text.remove_suffix(std::min(back, text.size()));
    return std::string(text);
}

#define KIV_LAMBDA(View, expression)                                    \
    [](View text, [[maybe_unused]] View other, [[maybe_unused]] char c, \
       [[maybe_unused]] std::size_t at) { return asText(expression); }
#define KIV_OPERATION(expression) \
    { #expression, KIV_LAMBDA(StringView, expression), KIV_LAMBDA(std::string_view, expression) }
#define KIV_SEARCH(name)                                                  \
    KIV_OPERATION(text.name(other)), KIV_OPERATION(text.name(other, at)), \
        KIV_OPERATION(text.name(c)), KIV_OPERATION(text.name(c, at))

const Operation kOperations[] = {
    KIV_OPERATION(text),
    KIV_OPERATION(text.size()),
    KIV_OPERATION(text.empty()),
    KIV_OPERATION(std::string(text.begin(), text.end())),
    KIV_OPERATION(std::string(text.rbegin(), text.rend())),
    KIV_OPERATION(afterRemoval(text, at, 1)),
    KIV_OPERATION(text.substr(std::min(at, text.size()))),
    KIV_OPERATION(text.substr(std::min(at, text.size()), 2)),
    KIV_OPERATION(sign(text.compare(other))),
    KIV_OPERATION(sign(text.compare(std::min(at, text.size()), 2, other))),
    KIV_OPERATION(text == other),
    KIV_OPERATION(text < other),
    KIV_OPERATION(text.starts_with(other)),
    KIV_OPERATION(text.starts_with(c)),
    KIV_OPERATION(text.ends_with(other)),
    KIV_OPERATION(text.ends_with(c)),
    KIV_SEARCH(find),
    KIV_SEARCH(rfind),
    KIV_SEARCH(find_first_of),
    KIV_SEARCH(find_last_of),
    KIV_SEARCH(find_first_not_of),
    KIV_SEARCH(find_last_not_of),
};

TEST(StringViewTest, OperationsMeanWhatThoseOfTheStandardViewMean) {
    const std::string_view texts[] = {"abcabc", "a", "aaaa", "", {}, "ab\0c\0"sv, "\xff\x01"};
    const std::string_view others[] = {"abc", "bc", "a", "", {}, "\0"sv, "c\0"sv, "abcabcd"};
    const std::size_t positions[] = {0, 1, 3, 5, 6, 7, StringView::npos};
    for (const Operation& operation : kOperations) {
        SCOPED_TRACE(operation.name);
        for (const std::string_view text : texts) {
            for (const std::string_view other : others)
                for (const std::size_t at : positions)
                    for (const char c : {'a', 'c', '\0', '\xff'})
                        ASSERT_EQ(operation.ours(text, other, c, at),
                                  operation.standard(text, other, c, at))
                            << "'" << text << "', '" << other << "', '" << c << "', " << at;
        }
    }
}

TEST(StringViewTest, PositionsBehindTheEndAreRefused) {
    const StringView text = "abc";

    EXPECT_THROW(static_cast<void>(text.at(3)), std::out_of_range);
    EXPECT_THROW(static_cast<void>(text.substr(4)), std::out_of_range);
    EXPECT_THROW(static_cast<void>(text.compare(4, 1, "a")), std::out_of_range);
    EXPECT_EQ(text.substr(3), "");
    EXPECT_EQ(StringView().data(), nullptr);
    EXPECT_EQ(std::hash<StringView>()(text), std::hash<std::string_view>()("abc"));
}

}  // namespace
}  // namespace kiv
