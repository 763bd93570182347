#include "kiv/base/token.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <new>
#include <span>

#include "kiv/base/spinMutex.h"

namespace kiv {

// All entries, in sets with a lock of their own. One hash of the text chooses the set, another the
// place in its table.
//
// A text that is there is found without the lock. That is safe because an entry's memory stays an
// entry's, and because its text is looked at only by those who hold a reference, which keeps the
// sweep away. Who looks while a sweep moves the entries about may find nothing, and looks again
// under the lock.
class TokenRegistry {
    friend class Token;

    using _Rep = Token::_Rep;
    using _Handle = PointerAndBits<const _Rep>;

    static constexpr std::size_t kSets = 128;
    static_assert(std::has_single_bit(kSets));

    // From 0 on, for each character: times M, plus the character as a signed one; modulo 2^32.
    template <uint32 M>
    struct _Hash {
        static uint32 AddEight(uint32 hash, uint64 characters);
    };

    // What a text is looked up by.
    struct _Key {
        explicit _Key(const char* text) : whole(text ? text : "") { _Scan(); }
        explicit _Key(const std::string& text) : whole(text) { _Scan(); }

        bool IsTextOf(const _Rep& rep) const;
        uint64 CompareCode() const;

        std::string_view whole;
        std::size_t length;  // up to the first null character
        uint32 set_number;
        uint32 table_hash;

    private:
        void _Scan();
    };

    static uint64 Mixed(uint32 hash) { return hash * 0x9E3779B97F4A7C15; }

    // The open table of a set, at most half full, and the entries that came with it. Nothing of it
    // is given back, since somebody may be looking an entry up in it.
    struct _Table {
        using _Slot = std::atomic<_Rep*>;

        _Table(std::size_t roomFor, std::size_t fresh, const _Table* tableBefore);

        /// Where the search for a hash begins; it goes on to the next until a slot is empty.
        std::size_t IndexOf(uint32 hash) const { return Mixed(hash) >> shift; }
        _Slot& operator[](std::size_t index) const { return slots[index & (2 * capacity - 1)]; }
        std::span<_Slot> AllSlots() const { return {slots.get(), 2 * capacity}; }
        void Put(_Rep* rep) const;

        const std::size_t capacity;  // what a table of buckets calls their number; a power of two
        const int shift;             // from a product of 64 bits to an index
        const std::unique_ptr<_Slot[]> slots;
        const std::unique_ptr<_Rep[]> reps;
        const _Table* const before;
    };

    // Two cache lines: neighbours don't disturb each other, nor do insertions those who only look.
    struct alignas(128) _Set {
        static constexpr std::size_t kFirstCapacity = 16;
        static constexpr float kMaxLoad = 1;
        static constexpr uint32 kMinSweepDelay = 32;

        _Handle Find(const _Key& key) const;
        // The rest is for the holder of the mutex.
        _Handle Add(const _Key& key, bool makeImmortal);
        void SweepBeforeGrowth();
        void Grow();

        std::atomic<const _Table*> table = nullptr;
        alignas(64) detail::SpinMutex mutex;  // guards what follows, and all changes of the table
        uint32 sweep_delay = kMinSweepDelay;  // insertions until the next sweep is considered
        std::size_t size = 0;
        _Rep* unused = nullptr;
    };
    static_assert(sizeof(_Set) == 128);

    TokenRegistry() {
        for (_Set& set : sets_)
            set.table = &no_entries_;
    }
    static TokenRegistry& instance();

    _Handle _ptrImpl(const _Key& key, bool makeImmortal);
    _Handle _findPtrImpl(const _Key& key);

    const _Table no_entries_{1, 0, nullptr};
    _Set sets_[kSets];
};

// The eight characters lie in the word in memory order. Neighbours are joined to pairs, pairs to
// fours and fours to the eight, each time by one multiplication for all lanes of the word. The
// lanes hold no sign, so 128 is added to each character first, and its part of the sum taken away
// in the end.
template <uint32 M>
uint32 TokenRegistry::_Hash<M>::AddEight(uint32 hash, uint64 characters) {
    static_assert(std::endian::native == std::endian::little);
    constexpr uint64 kBytes = 0x00FF00FF00FF00FF;
    constexpr uint64 kPairs = 0x0000FFFF0000FFFF;
    constexpr uint32 M2 = M * M;
    constexpr uint32 M4 = M2 * M2;
    constexpr uint32 kBias = 128 * (M + 1) * (M2 + 1) * (M4 + 1);
    const uint64 biased = characters ^ 0x8080808080808080;
    const uint64 pairs = (biased & kBytes) * M + ((biased >> 8) & kBytes);
    const uint64 fours = (pairs & kPairs) * M2 + ((pairs >> 16) & kPairs);
    const uint32 eight = static_cast<uint32>(fours) * M4 + static_cast<uint32>(fours >> 32);
    return hash * (M4 * M4) + eight - kBias;
}

namespace {

uint64 LoadEight(const char* from) {
    uint64 characters;
    std::memcpy(&characters, from, sizeof(characters));
    return characters;
}

/// Up to seven characters, in the low bytes of the word.
uint64 LoadFew(const char* from, std::size_t count) {
    uint64 characters = 0;
    if (count >= 4) {
        uint32 first, last;
        std::memcpy(&first, from, 4);
        std::memcpy(&last, from + count - 4, 4);
        return first | uint64{last} << (8 * (count - 4));
    }
    for (std::size_t i = 0; i < count; ++i)
        characters |= uint64{static_cast<unsigned char>(from[i])} << (8 * i);
    return characters;
}

bool HasSameCharacters(const char* a, const char* b, std::size_t count) {
    if (count < 8)
        return LoadFew(a, count) == LoadFew(b, count);
    for (std::size_t i = 0; i + 8 < count; i += 8) {
        if (LoadEight(a + i) != LoadEight(b + i))
            return false;
    }
    return LoadEight(a + count - 8) == LoadEight(b + count - 8);
}

bool HasNull(uint64 characters) {
    return ((characters - 0x0101010101010101) & ~characters & 0x8080808080808080) != 0;
}

}  // namespace

void TokenRegistry::_Key::_Scan() {
    length = whole.size();
    const char* at = whole.data();
    uint32 setHash = 0;
    table_hash = 0;
    bool null = false;
    // The odd ones come first: behind leading zeros, which leave a hash of 0 as it is, they fill a
    // word like all others.
    if (const std::size_t odd = length % 8; odd != 0) {
        const uint64 few = length < 8 ? LoadFew(at, odd) : LoadEight(at);
        const std::size_t free = 8 * (8 - odd);
        null = HasNull(few << free | ((uint64{1} << free) - 1));
        setHash = _Hash<7>::AddEight(0, few << free);
        table_hash = _Hash<5>::AddEight(0, few << free);
        at += odd;
    }
    for (const char* const end = whole.data() + length; at != end; at += 8) {
        const uint64 eight = LoadEight(at);
        null |= HasNull(eight);
        setHash = _Hash<7>::AddEight(setHash, eight);
        table_hash = _Hash<5>::AddEight(table_hash, eight);
    }
    set_number = setHash % kSets;
    if (null) [[unlikely]] {
        const _Key prefix(whole.data());
        length = prefix.length;
        set_number = prefix.set_number;
        table_hash = prefix.table_hash;
    }
}

inline bool TokenRegistry::_Key::IsTextOf(const _Rep& rep) const {
    return rep.string.size() >= length && rep.string[length] == '\0' &&
           HasSameCharacters(whole.data(), rep.string.data(), length);
}

uint64 TokenRegistry::_Key::CompareCode() const {
    uint64 code = 0;
    int shift = 56;
    for (char c : whole.substr(0, std::min<std::size_t>(length, 8))) {
        code |= static_cast<uint64>(static_cast<signed char>(c)) << shift;
        shift -= 8;
    }
    return code;
}

TokenRegistry::_Table::_Table(std::size_t roomFor, std::size_t fresh, const _Table* tableBefore)
    : capacity(roomFor),
      shift(64 - std::countr_zero(2 * roomFor)),
      slots(new _Slot[2 * roomFor]()),
      // The address of an empty array lies behind its memory, where no leak checker sees it.
      reps(fresh != 0 ? new _Rep[fresh] : nullptr),
      before(tableBefore) {
    for (std::size_t i = 0; i + 1 < fresh; ++i)
        reps[i].next = &reps[i + 1];
}

void TokenRegistry::_Table::Put(_Rep* rep) const {
    std::size_t i = IndexOf(rep->table_hash.load());
    while ((*this)[i].load())
        ++i;
    // For the load in Find, which goes on to what the entry holds.
    (*this)[i].store(rep, std::memory_order_release);
}

inline TokenRegistry::_Handle TokenRegistry::_Set::Find(const _Key& key) const {
    const _Table& now = *table.load();
    for (std::size_t i = now.IndexOf(key.table_hash);; ++i) {
        const _Rep* const rep = now[i].load();
        if (!rep)
            return {};
        if (rep->table_hash.load() != key.table_hash)
            continue;
        uint32 count = rep->ref_count.load();
        while ((count & Token::kMortal) != 0 && count != Token::kUnused &&
               !rep->ref_count.compare_exchange_weak(count, count + Token::kOneReference)) {
        }
        if (count == Token::kUnused)
            continue;
        if (key.IsTextOf(*rep)) [[likely]]
            return _Handle(rep, count & Token::kMortal);
        if ((count & Token::kMortal) != 0)
            rep->ref_count.fetch_sub(Token::kOneReference);
    }
}

TokenRegistry::_Handle TokenRegistry::_Set::Add(const _Key& key, bool makeImmortal) {
    SweepBeforeGrowth();
    if (!unused)
        Grow();

    _Rep* const rep = unused;
    rep->string.assign(key.whole);
    unused = rep->next;
    rep->set_number = key.set_number;
    rep->compare_code = key.CompareCode();
    // Whoever takes the entry for one of this hash still looks at its count, stored next.
    rep->table_hash.store(key.table_hash, std::memory_order_relaxed);
    // For the load and the exchange in Find by those who stand on the entry already: the text is
    // there. All others come by the slot.
    rep->ref_count.store(makeImmortal ? 0 : Token::kOneReference | Token::kMortal,
                         std::memory_order_release);
    table.load()->Put(rep);
    ++size;
    return _Handle(rep, makeImmortal ? 0 : Token::kCounted);
}

void TokenRegistry::_Set::SweepBeforeGrowth() {
    if (sweep_delay != 0 && --sweep_delay != 0)
        return;
    const _Table& now = *table.load();
    const float capacity = static_cast<float>(now.capacity);
    if (static_cast<float>(size + 1) / capacity <= kMaxLoad)
        return;

    // Those that stay are put back in the end, since a slot between two of them must not be empty.
    _Rep* staying = nullptr;
    for (auto& slot : now.AllSlots()) {
        _Rep* const rep = slot.load();
        if (!rep)
            continue;
        // An empty slot leads nowhere, so it has nothing to publish.
        slot.store(nullptr, std::memory_order_relaxed);
        uint32 dead = Token::kMortal;
        const bool swept = rep->ref_count.load() == dead &&
                           rep->ref_count.compare_exchange_strong(dead, Token::kUnused);
        if (swept) {
            rep->string = std::string();
            --size;
        }
        _Rep*& list = swept ? unused : staying;
        rep->next = std::exchange(list, rep);
    }
    for (; staying; staying = staying->next)
        now.Put(staying);

    const float load = static_cast<float>(size) / capacity;
    const float room = (kMaxLoad - load) * capacity;
    sweep_delay =
        room > static_cast<float>(kMinSweepDelay) ? static_cast<uint32>(room) : kMinSweepDelay;
}

void TokenRegistry::_Set::Grow() {
    const _Table* const old = table.load();
    const std::size_t capacity = std::max(2 * old->capacity, kFirstCapacity);
    const _Table* const grown = new _Table(capacity, capacity - size, old);
    for (const auto& slot : old->AllSlots()) {
        if (_Rep* const rep = slot.load())
            grown->Put(rep);
    }
    unused = grown->reps.get();
    table.store(grown, std::memory_order_release);  // for the load in Find
}

TokenRegistry& TokenRegistry::instance() {
    // Never destroyed: statics of a module may hold tokens for longer than any static of ours
    // lives.
    static TokenRegistry& registry = *new TokenRegistry;
    return registry;
}

TokenRegistry::_Handle TokenRegistry::_ptrImpl(const _Key& key, bool makeImmortal) {
    if (key.length == 0)
        return {};
    _Set& set = sets_[key.set_number];
    _Handle handle = set.Find(key);
    if (handle.word() == 0) [[unlikely]] {
        const detail::SpinMutex::ScopedLock lock(set.mutex);
        handle = set.Find(key);
        if (handle.word() == 0)
            return set.Add(key, makeImmortal);
    }
    if (makeImmortal && handle.bits() != 0) {
        handle->ref_count.fetch_and(~Token::kMortal);
        handle.set_bits(0);
    }
    return handle;
}

TokenRegistry::_Handle TokenRegistry::_findPtrImpl(const _Key& key) {
    if (key.length == 0)
        return {};
    _Set& set = sets_[key.set_number];
    if (const _Handle handle = set.Find(key); handle.word() != 0)
        return handle;
    const detail::SpinMutex::ScopedLock lock(set.mutex);
    return set.Find(key);
}

Token::Token(const std::string& text)
    : rep_(TokenRegistry::instance()._ptrImpl(TokenRegistry::_Key(text), false)) {}

Token::Token(const char* text)
    : rep_(TokenRegistry::instance()._ptrImpl(TokenRegistry::_Key(text), false)) {}

Token::Token(const std::string& text, ImmortalFlag)
    : rep_(TokenRegistry::instance()._ptrImpl(TokenRegistry::_Key(text), true)) {}

Token::Token(const char* text, ImmortalFlag)
    : rep_(TokenRegistry::instance()._ptrImpl(TokenRegistry::_Key(text), true)) {}

Token Token::find(const std::string& text) {
    return Token(TokenRegistry::instance()._findPtrImpl(TokenRegistry::_Key(text)));
}

const std::string& Token::_emptyString() noexcept {
    // In memory of its own, so that it is neither destroyed nor allocated.
    alignas(std::string) static std::byte memory[sizeof(std::string)];
    static const std::string& empty = *new (memory) std::string;
    return empty;
}

}  // namespace kiv
