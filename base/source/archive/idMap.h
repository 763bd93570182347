// What is known of each object of an archive, by its id: a flat hash table, which asks one cache
// line where a map of nodes asks three. Archives look an object up at each reference to it.
#ifndef KIV_BASE_ARCHIVE_ID_MAP_H_
#define KIV_BASE_ARCHIVE_ID_MAP_H_

#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "kiv/base/integers.h"
#include "kiv/base/object.h"

namespace kiv::internal {

/// What tells an object apart in every stored form: its address, and 0 for null.
inline uint64 IdOf(const Object* object) {
    return reinterpret_cast<std::uintptr_t>(object);
}

/// `T` is default-constructible and movable. A value stays where it is until the next
/// insertion.
template <class T>
class IdMap {
public:
    IdMap() = default;
    IdMap(const IdMap&) = delete;
    IdMap& operator=(const IdMap&) = delete;

    void Reserve(std::size_t count) {
        if (count > _Limit())
            _Rehash(std::bit_ceil(count + count / 2 + 8));
    }
    /// The value of `id`, or null.
    T* Find(uint64 id) {
        if (slots_.empty())
            return nullptr;
        Slot& slot = _SlotOf(id);
        return slot.used ? &slot.value : nullptr;
    }
    /// The value of `id`, made if there was none.
    T& Insert(uint64 id) {
        Reserve(size_ + 1);
        Slot& slot = _SlotOf(id);
        if (!slot.used) {
            slot.id = id;
            slot.used = true;
            ++size_;
        }
        return slot.value;
    }

    /// Calls `visit(id, value)` for each entry, in no particular order.
    template <class Visit>
    void ForEach(Visit visit) {
        for (Slot& slot : slots_)
            if (slot.used)
                visit(slot.id, slot.value);
    }

private:
    struct Slot {
        uint64 id = 0;
        T value{};
        bool used = false;
    };

    // A third stays free, or the rows of used slots would get long.
    std::size_t _Limit() const { return slots_.size() - slots_.size() / 3; }

    // The slot of the id, or the free one where it belongs.
    Slot& _SlotOf(uint64 id) {
        const std::size_t mask = slots_.size() - 1;
        std::size_t at = _Hash(id) & mask;
        while (slots_[at].used && slots_[at].id != id)
            at = (at + 1) & mask;
        return slots_[at];
    }

    // Ids are addresses, or what a foreign document wants them to be: all bits are mixed, and with
    // an address of our own, so that nobody can choose ids that collide.
    std::size_t _Hash(uint64 id) const {
        id = (id ^ reinterpret_cast<std::uintptr_t>(this)) * 0x9E3779B97F4A7C15u;
        id = (id ^ id >> 32) * 0xD6E8FEB86659FD93u;
        return static_cast<std::size_t>(id ^ id >> 32);
    }

    void _Rehash(std::size_t capacity) {
        std::vector<Slot> old(capacity);
        old.swap(slots_);
        for (Slot& slot : old)
            if (slot.used)
                _SlotOf(slot.id) = std::move(slot);
    }

    std::vector<Slot> slots_;  // their number is a power of two, or 0
    std::size_t size_ = 0;
};

}  // namespace kiv::internal

#endif  // KIV_BASE_ARCHIVE_ID_MAP_H_
