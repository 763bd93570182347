// A map for many lookups and few insertions: two parallel vectors, kept sorted by the hash of the
// key.
//
// A lookup is a binary search over a contiguous array of hashes. An insertion moves what lies
// behind its place; entries of equal hash stay in the order in which they came. Not synchronised.
#ifndef KIV_BASE_FLAT_MAP_H_
#define KIV_BASE_FLAT_MAP_H_

#include <algorithm>
#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

#include "kiv/base/integers.h"
#include "kiv/base/stringView.h"

namespace kiv {

/// The hash that sorts the keys of a `FlatMap`.
template <class Key>
struct FlatMapHash {
    uint64 operator()(const Key& key) const { return std::hash<Key>()(key); }
};

template <>
struct FlatMapHash<StringView> {
    constexpr uint64 operator()(StringView text) const {
        uint64 hash = 0xcbf29ce4;
        for (char c : text)
            hash = (hash ^ static_cast<uint64>(static_cast<signed char>(c))) * 16777619;
        return hash;
    }
};

template <class Key, class Value, class Hash = FlatMapHash<Key>,
          class KeyEqual = std::equal_to<Key>>
class FlatMap {
public:
    template <class HashValue>
    struct KeyData {
        Key key;
        HashValue hash;
    };

    /// Adds the pair unless the key is there already; the old value then stays. True if it was
    /// added.
    bool insert(const Key& key, Value value) {
        if (find(key) != nullptr)
            return false;
        const uint64 hash = Hash()(key);
        const auto behind = std::upper_bound(
            keys_.begin(), keys_.end(), hash,
            [](uint64 wanted, const KeyData<uint64>& entry) { return wanted < entry.hash; });
        const auto index = behind - keys_.begin();
        // Room first, so that the two vectors grow together or not at all.
        _Reserve(keys_);
        _Reserve(values_);
        values_.insert(values_.begin() + index, std::move(value));
        keys_.insert(keys_.begin() + index, KeyData<uint64>{key, hash});
        return true;
    }

    /// The value of the key, or null. Valid until the next insertion.
    Value* find(const Key& key) {
        const std::size_t index = findKeyConst(key);
        return index < values_.size() ? &values_[index] : nullptr;
    }
    const Value* find(const Key& key) const { return const_cast<FlatMap*>(this)->find(key); }

    /// The index of the key in both vectors, or the size of the map.
    std::size_t findKeyConst(const Key& key) const {
        const uint64 hash = Hash()(key);
        auto at = std::lower_bound(
            keys_.begin(), keys_.end(), hash,
            [](const KeyData<uint64>& entry, uint64 wanted) { return entry.hash < wanted; });
        for (; at != keys_.end() && at->hash == hash; ++at)
            if (KeyEqual()(at->key, key))
                return static_cast<std::size_t>(at - keys_.begin());
        return keys_.size();
    }

    std::size_t size() const { return keys_.size(); }

private:
    template <class Element>
    static void _Reserve(std::vector<Element>& list) {
        if (list.size() == list.capacity())
            list.reserve(std::max<std::size_t>(8, 2 * list.size()));
    }

    std::vector<KeyData<uint64>> keys_;
    std::vector<Value> values_;
};

}  // namespace kiv

#endif  // KIV_BASE_FLAT_MAP_H_
