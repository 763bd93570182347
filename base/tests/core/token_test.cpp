#include "kiv/base/token.h"

#include <algorithm>
#include <barrier>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

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

/// Texts of one set: a sweep is a matter of the set alone.
std::vector<std::string> TextsOfSet(unsigned set, const std::string& prefix, std::size_t count) {
    std::vector<std::string> texts;
    for (int i = 0; texts.size() < count; ++i) {
        std::string text = prefix + std::to_string(i);
        unsigned hash = 0;
        for (char c : text)
            hash = hash * 7 + static_cast<signed char>(c);
        if (hash % 128 == set)
            texts.push_back(std::move(text));
    }
    return texts;
}

TEST(TokenTest, OneTextIsOneToken) {
    const std::string texts[] = {"",
                                 "a",
                                 "name",
                                 "position",
                                 "position2",
                                 "position3",
                                 "position3, longer than a string holds inside",
                                 "\xE9t\xE9"};
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
}

TEST(TokenTest, FindAddsNothing) {
    EXPECT_EQ(Token::find("asked for, never made"), Token());
    EXPECT_EQ(Token::find("asked for, never made"), Token());
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
    const std::vector<Token> sorted = {{},          "a", "ab",   "abcdefgh", "abcdefghi",
                                       "abcdefghj", "b", "\x80", "a\x80",    "z\xFF"};
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
    };
    const Case cases[] = {
        {"held", [](auto& text) { return Token(text); }, true},
        {"dropped", [](auto& text) { return Token(text), Token(); }, false},
        {"copied",
         [](auto& text) {
             const Token token(text);
             Token copy(token);
             return copy;
         },
         true},
        {"found",
         [](auto& text) {
             const Token token(text);
             return Token::find(text);
         },
         true},
        {"moved about and dropped",
         [](auto& text) {
             Token a(text), b(std::move(a)), c;
             c = std::move(b);
             c = Token(c);
             swap(a, c);
             return c;
         },
         false},
        {"immortal", [](auto& text) { return Token(text, Token::Immortal), Token(); }, true},
        {"immortal by a later token",
         [](auto& text) {
             Token token(text), copy(token);
             const Token immortal(text.c_str(), Token::Immortal);
             copy = Token(token);  // both have a tag that is out of date
             return Token();
         },
         true},
    };
    const std::vector<std::string> texts = TextsOfSet(1, "sweep ", 2000);
    std::vector<Token> held;
    std::vector<const char*> found;
    for (const Case& c : cases) {
        held.push_back(c.make(texts[held.size()]));
        found.push_back(Token::find(texts[found.size()]).GetText());
        EXPECT_EQ(found.back(), texts[found.size() - 1]) << c.name;  // nothing was swept so far
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

TEST(TokenTest, SweepsLieAtLeast32InsertionsApart) {
    const std::vector<std::string> texts = TextsOfSet(2, "apart ", 4000);
    std::vector<Token> held;
    std::vector<std::size_t> sweeps;
    const std::string* dead = nullptr;

    for (const std::string& text : texts) {
        const std::size_t i = static_cast<std::size_t>(&text - texts.data());
        const Token token(text);
        if (dead && Token::find(*dead).IsEmpty()) {
            sweeps.push_back(i);
            dead = nullptr;
        }
        if (i % 2 == 0)
            held.push_back(token);
        else if (!dead)
            dead = &text;
    }

    EXPECT_GT(sweeps.size(), 2u);
    for (std::size_t i = 1; i < sweeps.size(); ++i)
        EXPECT_GE(sweeps[i] - sweeps[i - 1], 32u);
}

TEST(TokenTest, ThreadsShareTheirTexts) {
    constexpr int kThreads = 4;
    const std::vector<std::string> shared = TextsOfSet(3, "shared ", 40);
    std::barrier start(kThreads);
    std::vector<std::thread> threads;
    std::vector<std::vector<Token>> kept(kThreads);

    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            const std::vector<std::string> own =
                TextsOfSet(3, "thread " + std::to_string(i) + " ", 500);
            start.arrive_and_wait();
            for (std::size_t round = 0; round < own.size(); ++round) {
                const std::string& text = shared[round % shared.size()];
                const Token token(text);
                const Token copy(token);
                const Token fresh(own[round]);  // makes the set sweep
                EXPECT_EQ(copy, text);
                EXPECT_EQ(fresh, own[round]);
                if (round % 50 == 49) {
                    EXPECT_EQ(Token(text.c_str(), Token::Immortal), copy);
                }
            }
            for (const std::string& text : shared)
                kept[i].emplace_back(text);
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    for (int i = 1; i < kThreads; ++i)
        EXPECT_EQ(kept[i], kept[0]);
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
