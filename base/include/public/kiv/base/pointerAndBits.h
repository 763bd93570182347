// A pointer with a small number in its three low bits, which are free because what it points at is
// aligned to 8 bytes.
//
//     63                              3   0
//     +-------------------------------+---+
//     | address, its low bits zero    | b |
//     +-------------------------------+---+
#ifndef KIV_BASE_POINTER_AND_BITS_H_
#define KIV_BASE_POINTER_AND_BITS_H_

#include <cstdint>

namespace kiv {

template <class T>
class PointerAndBits {
public:
    static constexpr std::uintptr_t kBitsMask = 7;

    /// Null, with all bits zero.
    constexpr PointerAndBits() noexcept = default;
    explicit PointerAndBits(T* pointer, std::uintptr_t bits = 0) noexcept
        : word_(reinterpret_cast<std::uintptr_t>(pointer) | (bits & kBitsMask)) {
        static_assert(alignof(T) > kBitsMask);
    }

    T* get() const noexcept { return reinterpret_cast<T*>(word_ & ~kBitsMask); }
    T* operator->() const noexcept { return get(); }
    T& operator*() const noexcept { return *get(); }

    constexpr std::uintptr_t bits() const noexcept { return word_ & kBitsMask; }
    constexpr void set_bits(std::uintptr_t bits) noexcept {
        word_ = (word_ & ~kBitsMask) | (bits & kBitsMask);
    }
    /// Pointer and bits as they lie in memory; 0 is null without a bit.
    constexpr std::uintptr_t word() const noexcept { return word_; }

    /// Compares pointer and bits.
    constexpr bool operator==(const PointerAndBits& other) const noexcept = default;

private:
    std::uintptr_t word_ = 0;
};

static_assert(sizeof(PointerAndBits<double>) == sizeof(void*));

}  // namespace kiv

#endif  // KIV_BASE_POINTER_AND_BITS_H_
