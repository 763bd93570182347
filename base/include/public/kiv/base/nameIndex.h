// An index from names to records, for tables that are asked far more often than they grow: the
// types by their names, and the properties of a type.
//
// One thread at a time may add; any number may look names up meanwhile, without a lock. What has
// been added stays until the index is destroyed or cleared, and so must the names.
#ifndef KIV_BASE_NAME_INDEX_H_
#define KIV_BASE_NAME_INDEX_H_

#include <atomic>
#include <cstddef>
#include <cstring>
#include <deque>
#include <memory>
#include <utility>
#include <vector>

#include "kiv/base/integers.h"
#include "kiv/base/stringView.h"

namespace kiv::detail {

/// Good enough to spread names over a table, and much faster than a hash that goes character by
/// character.
inline uint64 HashName(StringView name) {
    constexpr uint64 kFactor = 0x9e3779b97f4a7c15;
    const auto word = [](const char* from, std::size_t size) {
        uint64 bytes = 0;
        std::memcpy(&bytes, from, size);
        return bytes;
    };
    const char* const text = name.data();
    const std::size_t size = name.size();
    uint64 hash = size * kFactor;
    const auto mix = [&hash](uint64 bytes) {
        // A product spreads upwards only, and the low bits choose the place: fold and go again.
        hash = (hash ^ bytes) * kFactor;
        hash = (hash ^ hash >> 32) * kFactor;
        hash ^= hash >> 32;
    };
    if (size >= 8) {
        for (std::size_t at = 0; at + 8 < size; at += 8)
            mix(word(text + at, 8));
        mix(word(text + size - 8, 8));  // overlaps the one before it
    } else if (size >= 4) {
        mix(word(text, 4) | word(text + size - 4, 4) << 32);
    } else if (size > 0) {
        mix(word(text, 1) | word(text + size / 2, 1) << 8 | word(text + size - 1, 1) << 16);
    }
    return hash;
}

template <class Record>
class NameIndex {
public:
    NameIndex() = default;
    NameIndex(const NameIndex&) = delete;
    NameIndex& operator=(const NameIndex&) = delete;

    /// The record of that name, or null.
    Record* Find(StringView name) const {
        const Entry* const entry = _Find(name, HashName(name));
        return entry ? entry->record.load(std::memory_order_acquire) : nullptr;
    }

    /// Adds the name, or gives it another record.
    void Set(StringView name, Record* record) {
        const uint64 hash = HashName(name);
        if (const Entry* const known = _Find(name, hash)) {
            known->record.store(record, std::memory_order_release);
            return;
        }
        const Entry& added = entries_.emplace_back(name, hash, record);
        if (tables_.empty() || entries_.size() * 2 > tables_.back()->mask + 1)
            _Grow();
        else
            _Place(*tables_.back(), added);
    }

    /// Forgets everything; nobody may be looking.
    void Clear() {
        table_.store(nullptr, std::memory_order_relaxed);
        tables_.clear();
        entries_.clear();
    }

private:
    struct Entry {
        Entry(StringView n, uint64 h, Record* r) : name(n), hash(h), record(r) {}
        StringView name;
        uint64 hash;
        mutable std::atomic<Record*> record;
    };
    // Open addressing with linear probing, at most half full.
    struct Table {
        explicit Table(std::size_t size)
            : mask(size - 1), cells(new std::atomic<const Entry*>[size]()) {}
        std::size_t mask;
        std::unique_ptr<std::atomic<const Entry*>[]> cells;
    };

    const Entry* _Find(StringView name, uint64 hash) const {
        // Acquire, for the releases in _Place and _Grow: who sees a table or an entry sees what it
        // holds.
        const Table* const table = table_.load(std::memory_order_acquire);
        if (table == nullptr)
            return nullptr;
        for (std::size_t at = hash & table->mask;; at = (at + 1) & table->mask) {
            const Entry* const entry = table->cells[at].load(std::memory_order_acquire);
            if (entry == nullptr || (entry->hash == hash && entry->name == name))
                return entry;
        }
    }
    static void _Place(Table& table, const Entry& entry) {
        std::size_t at = entry.hash & table.mask;
        while (table.cells[at].load(std::memory_order_relaxed) != nullptr)
            at = (at + 1) & table.mask;
        table.cells[at].store(&entry, std::memory_order_release);
    }
    // The tables that were outgrown stay, since somebody may be reading them.
    void _Grow() {
        const std::size_t size = tables_.empty() ? 8 : (tables_.back()->mask + 1) * 2;
        auto table = std::make_unique<Table>(size);
        for (const Entry& entry : entries_)
            _Place(*table, entry);
        table_.store(table.get(), std::memory_order_release);
        tables_.push_back(std::move(table));
    }

    std::deque<Entry> entries_;  // in the order of their coming; never moved
    std::vector<std::unique_ptr<Table>> tables_;
    std::atomic<const Table*> table_{nullptr};
};

}  // namespace kiv::detail

#endif  // KIV_BASE_NAME_INDEX_H_
