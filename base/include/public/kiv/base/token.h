// An interned text in one word: all tokens of one text lead to the same entry of a table that the
// process shares, so that comparing two of them is one comparison and copying one is nearly free.
//
//     static const Token kPosition("position", Token::Immortal);
//     if (attribute.name == kPosition) ...
//
// Made for names that occur over and over; a text that occurs once is better off as a
// `std::string`. Making a token looks its text up; if the text is there, that allocates nothing and
// takes no lock, save while its part of the table is being swept. An entry that no token holds any
// more stays until that part is about to grow; an immortal one stays for good, and its tokens count
// nothing. Of a text that isn't immortal there may be up to 2^31 - 2 tokens at a time.
//
// A text ends at its first null character: two that differ behind it only share an entry, which
// keeps the whole of the one that came first.
//
// Tokens may be made, copied and dropped on any thread, and at any time up to the end of the
// process; one `Token` object belongs to one thread at a time.
#ifndef KIV_BASE_TOKEN_H_
#define KIV_BASE_TOKEN_H_

#include <atomic>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "kiv/base/export.h"
#include "kiv/base/integers.h"
#include "kiv/base/pointerAndBits.h"

namespace kiv {

class KIV_BASE_API Token {
public:
    enum ImmortalFlag { Immortal };

    /// The token of the empty text, which has no entry. A null pointer gives the same.
    constexpr Token() noexcept = default;
    Token(const std::string& text);
    Token(const char* text);
    /// Makes the entry immortal as well, also if tokens that count hold it already.
    Token(const std::string& text, ImmortalFlag);
    Token(const char* text, ImmortalFlag);
    /// The token of a text that has an entry, and the empty token for every other text. Adds none.
    [[nodiscard]] static Token find(const std::string& text);

    Token(const Token& other) noexcept : rep_(other.rep_) {
        // An entry that has become immortal since `other` was made needs no counting any more.
        if (_IsCounted() && (rep_->ref_count.fetch_add(kOneReference) & kMortal) == 0)
            rep_.set_bits(0);
    }
    Token(Token&& other) noexcept : rep_(std::exchange(other.rep_, {})) {}
    ~Token() {
        if (_IsCounted())
            rep_->ref_count.fetch_sub(kOneReference);
    }

    /// Serves every assignment.
    Token& operator=(Token other) noexcept {
        swap(other);
        return *this;
    }
    void swap(Token& other) noexcept { std::swap(rep_, other.rep_); }
    friend void swap(Token& a, Token& b) noexcept { a.swap(b); }

    bool IsEmpty() const noexcept { return rep_.word() == 0; }
    explicit operator bool() const noexcept { return !IsEmpty(); }
    /// The reference holds for as long as a token of the text lives; for good if it is immortal.
    const std::string& GetString() const noexcept {
        return IsEmpty() ? _emptyString() : rep_->string;
    }
    const char* GetText() const noexcept { return IsEmpty() ? "" : rep_->string.c_str(); }

    bool operator==(const std::string& text) const noexcept { return GetString() == text; }
    bool operator==(const char* text) const noexcept {
        return std::string_view(GetString()) == (text ? text : "");
    }
    friend bool operator==(const Token& a, const Token& b) noexcept {
        return a.rep_.get() == b.rep_.get();
    }
    /// Orders texts by their bytes as long as these are ASCII. Others have an order too, the same
    /// in every process, but not one to show to people.
    std::strong_ordering operator<=>(const Token& other) const noexcept {
        if (*this == other)
            return std::strong_ordering::equal;
        if (const auto order = _CompareCode() <=> other._CompareCode(); order != 0)
            return order;
        return GetString().compare(other.GetString()) <=> 0;
    }
    // A text would be interned for the comparison.
    std::strong_ordering operator<=>(const std::string&) const = delete;
    std::strong_ordering operator<=>(const char*) const = delete;

private:
    friend class TokenRegistry;
    friend struct std::hash<Token>;

    // The entry of a text. Its memory is never given back: an entry that was swept serves another
    // text of its set later, and whoever looks entries up may still be standing on it.
    struct alignas(64) _Rep {
        uint32 set_number = 0;  // for debuggers, which cannot work the hash out
        std::atomic<uint32> table_hash = 0;
        // The first eight characters, the first of them in the top byte, zeros behind the end. A
        // character with its top bit set sets all bits above it, too.
        uint64 compare_code = 0;
        std::string string;
        // 31                          1   0
        // +---------------------------+---+
        // | references                | m |  m: mortal; without it the number means nothing
        // +---------------------------+---+
        mutable std::atomic<uint32> ref_count = kUnused;
        _Rep* next = nullptr;  // in a list that the holder of the set's lock makes
    };
    static constexpr uint32 kMortal = 1;
    static constexpr uint32 kOneReference = 2;
    static constexpr uint32 kUnused =
        ~uint32{0};  // mortal, with one reference more than is allowed

    // Bit 0 of a handle: it holds a reference that was counted.
    static constexpr std::uintptr_t kCounted = 1;
    static_assert(kCounted == kMortal);  // a count gives the bit of a handle

    explicit Token(PointerAndBits<const _Rep> rep) noexcept : rep_(rep) {}

    static const std::string& _emptyString() noexcept;

    bool _IsCounted() const noexcept { return (rep_.bits() & kCounted) != 0; }
    uint64 _CompareCode() const noexcept { return IsEmpty() ? 0 : rep_->compare_code; }

    PointerAndBits<const _Rep> rep_;
};

static_assert(sizeof(Token) == sizeof(void*));

}  // namespace kiv

/// By identity, in a few instructions; another process has other hashes.
template <>
struct std::hash<kiv::Token> {
    std::size_t operator()(const kiv::Token& token) const noexcept {
        return std::hash<const void*>()(token.rep_.get());
    }
};

#endif  // KIV_BASE_TOKEN_H_
