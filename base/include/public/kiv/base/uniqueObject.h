// The one owner of a handle that the operating system gave out, or of any value that has to be
// given back exactly once. For objects of our own take a `RefPtr` or `std::unique_ptr`.
//
// `Traits` says what it takes to own a `T`:
//
//     struct DescriptorTraits {
//         static int InvalidValue() { return -1; }
//         static bool IsValid(int value) { return value >= 0; }
//         static void Free(int value) { ::close(value); }
//     };
//     UniqueObject<int, DescriptorTraits> file(::open(path, O_RDONLY));
//
// `Free` is all that it takes to give a value back. Traits for which that is more than one step,
// such as those of a file handle that a cache knows as well, give each step a name
// (`RemoveCacheEntry`, `Free_Handle`) and a `Free` that takes them in this order.
#ifndef KIV_BASE_UNIQUE_OBJECT_H_
#define KIV_BASE_UNIQUE_OBJECT_H_

#include <utility>

#include "kiv/base/check.h"

namespace kiv {

template <class T, class Traits>
class UniqueObject {
public:
    /// Holds the invalid value.
    UniqueObject() : data_{Traits::InvalidValue()} {}
    /// Takes ownership of `value`.
    explicit UniqueObject(const T& value) : data_{value} {}
    UniqueObject(UniqueObject&& other) noexcept : data_{other.release()} {}
    UniqueObject& operator=(UniqueObject&& other) noexcept {
        if (this != &other)
            reset(other.release());
        return *this;
    }
    ~UniqueObject() { reset(); }

    /// Frees the held value if it is valid, and takes `value`, which must not be the one held.
    void reset(const T& value = Traits::InvalidValue()) {
        KIV_CHECK(data_.generic == Traits::InvalidValue() || data_.generic != value);
        if (data_.generic == value)
            return;
        const T old = std::exchange(data_.generic, value);
        if (Traits::IsValid(old))
            Traits::Free(old);
    }
    /// Hands the value to the caller without freeing it, and is invalid afterwards.
    [[nodiscard]] T release() { return std::exchange(data_.generic, Traits::InvalidValue()); }

    const T& get() const { return data_.generic; }
    bool is_valid() const { return Traits::IsValid(data_.generic); }

private:
    struct Data {
        T generic;
    };
    Data data_;
};

}  // namespace kiv

#endif  // KIV_BASE_UNIQUE_OBJECT_H_
