#include "kiv/base/token.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/runTogether.h"

namespace kiv {
namespace {

using namespace std::string_literals;

/// Held until after all that came to life later is gone, and asked once more then.
struct LateToken {
    Token token;
    ~LateToken() {
        if (!token.IsEmpty())
            std::_Exit(token == "kept to the end" && Token(token.GetText()) == token ? 42 : 1);
    }
};
constinit LateToken late;

/// Endings that leave a text in its place in the table: what goes to one of two neighbours is taken
/// five times from the other.
std::string Colliding(int number) {
    std::string text;
    for (int i = 0; i < 7; ++i, number /= 5) {
        const int change = number % 5;
        text += {static_cast<char>('M' + change), static_cast<char>('a' - 5 * change)};
    }
    return text;
}

/// Texts of one set: a sweep is a matter of the set alone.
std::vector<std::string> TextsOfSet(unsigned set, const std::string& prefix, std::size_t count,
                                    std::string (*ending)(int) = std::to_string) {
    std::vector<std::string> texts;
    for (int i = 0; texts.size() < count; ++i) {
        std::string text = prefix + ending(i);
        unsigned hash = 0;
        for (char c : text)
            hash = hash * 7 + static_cast<signed char>(c);
        if (hash % 128 == set)
            texts.push_back(std::move(text));
    }
    return texts;
}

/// Whether the token holds a counted reference: the lowest bit of its word.
bool IsCounted(const Token& token) {
    std::uintptr_t word;
    std::memcpy(&word, &token, sizeof(word));
    return (word & 1) != 0;
}

Token Copy(const Token& token) {
    return token;
}

template <class T>
concept OrderedWithToken = requires(const Token& token, const T& other) {
    token < other;
};
static_assert(OrderedWithToken<Token>);
static_assert(!OrderedWithToken<std::string> && !OrderedWithToken<const char*>);

TEST(TokenTest, OneTextIsOneToken) {
    const std::string texts[] = {"",          "a",
                                 "name",      "position",
                                 "position2", "position3, longer than a string holds inside",
                                 "position3", "\xE9t\xE9"};
    for (const std::string& text : texts) {
        SCOPED_TRACE(text);
        const Token token(text);
        const Token again(text.c_str(), Token::Immortal);

        EXPECT_EQ(token, again);
        EXPECT_EQ(token.GetText(), again.GetText());
        EXPECT_EQ(std::hash<Token>()(token), std::hash<Token>()(again));
        EXPECT_EQ(Token::find(text), token);
        EXPECT_EQ(token.GetString(), text);
        EXPECT_EQ(token.IsEmpty(), text.empty());
        for (const std::string& other : texts) {
            EXPECT_EQ(token == Token(other), text == other);
            EXPECT_EQ(token == other, text == other);
            EXPECT_EQ(other.c_str() == token, text == other);
        }
    }
    EXPECT_EQ(Token(static_cast<const char*>(nullptr), Token::Immortal), Token());
    EXPECT_EQ(Token(), static_cast<const char*>(nullptr));
    EXPECT_EQ(Token::find("asked for, never made"), Token());
    EXPECT_EQ(Token::find("asked for, never made"), Token());  // nor by asking
}

TEST(TokenTest, TextEndsAtItsFirstNullAndTheEntryKeepsTheWhole) {
    const Token whole("half\0and half"s);
    const Token prefix("half");

    EXPECT_EQ(prefix, whole);
    EXPECT_EQ(Token("half\0other"s), whole);
    EXPECT_EQ(prefix, "half\0and half"s);
    EXPECT_FALSE(prefix == "half");
    EXPECT_EQ(Token("\0nothing"s), Token());
}

TEST(TokenTest, OrderIsThatOfTheCompareCodeAndThenOfTheText) {
    // A character with its top bit set fills all places before it.
    const std::vector<Token> sorted = {{},          "a",         "ab",   "abcdefgh",
                                       "abcdefghi", "abcdefghj", "b",    "c\0\xFF"s,
                                       "\x80",      "a\x80",     "z\xFF"};
    std::vector<Token> shuffled(sorted.rbegin(), sorted.rend());
    std::sort(shuffled.begin(), shuffled.end());

    EXPECT_EQ(shuffled, sorted);
    EXPECT_EQ(Token("a") <=> Token("a"), std::strong_ordering::equal);
}

TEST(TokenTest, SweepTakesTheTextsThatNobodyHolds) {
    struct Case {
        const char* name;
        Token (*make)(const std::string& text);  // gives what is held
        bool stays;
        bool counted;
    };
    const Case cases[] = {
        {"held", [](auto& text) { return Token(text); }, true, true},
        {"dropped", [](auto& text) { return Token(text), Token(); }, false, true},
        {"copied", [](auto& text) { return Copy(Token(text)); }, true, true},
        {"found", [](auto& text) { return Token(text), Token::find(text); }, true, true},
        {"moved about and dropped",
         [](auto& text) {
             Token a(text), b(std::move(a)), c;
             c = std::move(b);
             c = Token(c);
             swap(a, c);
             return c;
         },
         false, true},
        {"immortal", [](auto& text) { return Token(text, Token::Immortal); }, true, false},
        {"immortal by a later token",
         [](auto& text) { return Token(text), Token(text.c_str(), Token::Immortal); }, true, false},
        {"copied from a token that is older than that",
         [](auto& text) {
             const Token token(text);
             const Token immortal(text, Token::Immortal);
             return Token(token);
         },
         true, false},
    };
    const std::vector<std::string> texts = TextsOfSet(1, "sweep ", 2000);
    std::vector<Token> held;
    std::vector<const char*> found;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string& text = texts[held.size()];
        held.push_back(c.make(text));
        const Token again = Token::find(text);
        found.push_back(again.GetText());
        EXPECT_EQ(again, text);  // nothing was swept so far
        EXPECT_EQ(IsCounted(again), c.counted);
        EXPECT_EQ(IsCounted(held.back()), c.counted && held.back());
    }

    for (std::size_t i = held.size(); i < texts.size(); ++i)
        const Token dropped(texts[i]);

    for (std::size_t i = 0; i < held.size(); ++i) {
        SCOPED_TRACE(cases[i].name);
        const Token now = Token::find(texts[i]);
        EXPECT_EQ(now, cases[i].stays ? texts[i] : "");
        EXPECT_EQ(now.GetText() == found[i], cases[i].stays);
    }
}

TEST(TokenTest, SweepComesWhenTheTableWouldGrowAndItsDelayHasRunDown) {
    struct Case {
        const char* name;
        std::vector<std::string> texts;
        std::size_t held;                 // so many of them; those after them are dropped
        std::vector<std::size_t> sweeps;  // the insertions before which dead texts vanish
    };
    const Case cases[] = {
        {"room for 32", TextsOfSet(3, "none ", 200), 0, {33, 65, 97, 129, 161, 193}},
        {"the same place for all",
         TextsOfSet(2, "same ", 200, Colliding),
         0,
         {33, 65, 97, 129, 161, 193}},
        {"room for 16, then for 48", TextsOfSet(4, "\xE9 some ", 200), 16, {33, 81, 129, 177}},
        {"room for 1, then for 33", TextsOfSet(5, "half ", 200), 31, {33, 66, 99, 132, 165, 198}},
        {"far from full when the delay is down", TextsOfSet(6, "most ", 200), 65, {129, 192}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<Token> held;
        std::vector<std::size_t> sweeps;
        const std::string* dead = nullptr;

        for (std::size_t i = 0; i < c.texts.size(); ++i) {
            const Token token(c.texts[i]);
            if (dead && Token::find(*dead).IsEmpty()) {
                sweeps.push_back(i + 1);
                dead = nullptr;
            }
            if (i < c.held)
                held.push_back(token);
            else if (!dead)
                dead = &c.texts[i];
        }

        EXPECT_EQ(sweeps, c.sweeps);
    }
}

// All threads want the same texts at the same time, while one of them makes the set sweep: a text
// has one entry all the same, and nobody's entry goes to another text.
TEST(TokenTest, ThreadsShareTheirTexts) {
    constexpr std::size_t kRounds = 20000;
    constexpr std::size_t kShared = 24;
    const std::vector<std::string> texts = TextsOfSet(7, "shared ", 400, Colliding);
    const Token kept(texts[0]);
    std::atomic<int> faults = 0;

    testing::RunTogether(4, [&](int number) {
        std::vector<std::pair<Token, std::string>> earlier(7);
        for (std::size_t round = 0; round < kRounds; ++round) {
            if (number == 0)
                const Token dropped(texts[kShared + round % (texts.size() - kShared)]);
            const std::string& text = texts[round % kShared];
            Token token = round < kRounds - 50 ? Token(text) : Token(text, Token::Immortal);
            auto& [old, oldText] = earlier[round % earlier.size()];
            const Token again(text), oldAgain(oldText);
            faults += token != text || again != token || old != oldText || oldAgain != old ||
                      Token::find(texts[0]) != kept;
            old = std::move(token);
            oldText = text;
        }
    });

    EXPECT_EQ(faults, 0);
}

TEST(TokenTest, TokensOutliveTheStaticsOfTheLibrary) {
    EXPECT_EXIT(
        {
            late.token = Token("kept to the end");
            std::exit(0);
        },
        ::testing::ExitedWithCode(42), "");
}

}  // namespace
}  // namespace kiv
