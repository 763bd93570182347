// A value or nothing, with the meaning of the standard optional.
//
// Only the failed access differs: it raises a class of the library, with one text on every system.
#ifndef KIV_BASE_OPTIONAL_H_
#define KIV_BASE_OPTIONAL_H_

#include <compare>
#include <concepts>
#include <cstddef>
#include <functional>
#include <optional>
#include <type_traits>
#include <utility>

#include "kiv/base/export.h"

namespace kiv::detail {

/// Its text is "bad optional access".
class KIV_BASE_API bad_optional_access : public std::bad_optional_access {
public:
    const char* what() const noexcept override;
};

template <class T>
class optional;

template <class T>
inline constexpr bool kIsOptional = false;
template <class T>
inline constexpr bool kIsOptional<optional<T>> = true;

// A `T` that takes a whole `optional<U>` is made from it, also from an empty one. Any optional
// makes a `bool`, which is no reason to take its presence for its value.
template <class T, class U>
concept TakesOptional =
    !std::same_as<T, bool> &&
    (std::constructible_from<T, optional<U>&> || std::constructible_from<T, const optional<U>&> ||
     std::constructible_from<T, optional<U>> || std::constructible_from<T, const optional<U>>);

template <class T>
class optional {
public:
    using value_type = T;

    constexpr optional() noexcept = default;
    constexpr optional(std::nullopt_t) noexcept {}
    template <class U = T>
    requires(std::constructible_from<T, U> && !std::same_as<std::remove_cvref_t<U>, optional> &&
             !std::same_as<std::remove_cvref_t<U>, std::in_place_t> &&
             !(std::same_as<T, bool> &&
               kIsOptional<std::remove_cvref_t<U>>)) constexpr explicit(!std::convertible_to<U, T>)
        optional(U&& value)
        : value_(std::in_place, std::forward<U>(value)) {}
    template <class... Args>
    constexpr explicit optional(std::in_place_t, Args&&... args)
        : value_(std::in_place, std::forward<Args>(args)...) {}
    template <class U>
    requires(!std::same_as<U, T> && std::constructible_from<T, const U&> &&
             !TakesOptional<T, U>) constexpr explicit(!std::convertible_to<const U&, T>)
        optional(const optional<U>& other) {
        if (other)
            value_.emplace(*other);
    }
    template <class U>
    requires(!std::same_as<U, T> && std::constructible_from<T, U> &&
             !TakesOptional<T, U>) constexpr explicit(!std::convertible_to<U, T>)
        optional(optional<U>&& other) {
        if (other)
            value_.emplace(*std::move(other));
    }

    template <class... Args>
    constexpr T& emplace(Args&&... args) {
        return value_.emplace(std::forward<Args>(args)...);
    }
    constexpr void reset() noexcept { value_.reset(); }
    constexpr void swap(optional& other) { value_.swap(other.value_); }

    constexpr bool has_value() const noexcept { return value_.has_value(); }
    constexpr explicit operator bool() const noexcept { return has_value(); }
    constexpr T& value() & { return _Checked(*this); }
    constexpr const T& value() const& { return _Checked(*this); }
    constexpr T&& value() && { return std::move(_Checked(*this)); }
    template <class U>
    constexpr T value_or(U&& otherwise) const& {
        return value_.value_or(std::forward<U>(otherwise));
    }
    template <class U>
    constexpr T value_or(U&& otherwise) && {
        return std::move(value_).value_or(std::forward<U>(otherwise));
    }

    // Nobody looks whether there is a value.
    constexpr T& operator*() & noexcept { return *value_; }
    constexpr const T& operator*() const& noexcept { return *value_; }
    constexpr T&& operator*() && noexcept { return *std::move(value_); }
    constexpr T* operator->() noexcept { return value_.operator->(); }
    constexpr const T* operator->() const noexcept { return value_.operator->(); }

private:
    template <class Self>
    static constexpr auto& _Checked(Self& self) {
        if (!self.value_)
            throw bad_optional_access();
        return *self.value_;
    }

    std::optional<T> value_;
};

template <class T, class U>
concept EqualityComparable = requires(const T& a, const U& b) {
    { a == b } -> std::convertible_to<bool>;
};

template <class T, class U>
requires EqualityComparable<T, U>
constexpr bool operator==(const optional<T>& a, const optional<U>& b) {
    return a.has_value() == b.has_value() && (!a || *a == *b);
}
template <class T>
constexpr bool operator==(const optional<T>& a, std::nullopt_t) noexcept {
    return !a;
}
template <class T, class U>
requires(!kIsOptional<U> && EqualityComparable<T, U>) constexpr bool operator==(
    const optional<T>& a, const U& b) {
    return a && *a == b;
}

/// Nothing comes before every value, here and below.
template <class T, std::three_way_comparable_with<T> U>
constexpr std::compare_three_way_result_t<T, U> operator<=>(const optional<T>& a,
                                                            const optional<U>& b) {
    return a && b ? *a <=> *b : a.has_value() <=> b.has_value();
}
template <class T>
constexpr std::strong_ordering operator<=>(const optional<T>& a, std::nullopt_t) noexcept {
    return a.has_value() <=> false;
}
template <class T, class U>
requires(!kIsOptional<U> &&
         std::three_way_comparable_with<U, T>) constexpr std::compare_three_way_result_t<T, U>
operator<=>(const optional<T>& a, const U& b) {
    return a ? *a <=> b : std::strong_ordering::less;
}

}  // namespace kiv::detail

namespace kiv {

using detail::optional;

}  // namespace kiv

/// The hash of the value, where there is one.
template <class T>
requires std::is_default_constructible_v<std::hash<std::remove_const_t<T>>>
struct std::hash<kiv::detail::optional<T>> {
    std::size_t operator()(const kiv::detail::optional<T>& value) const {
        constexpr std::size_t kOfNothing = 0x6e6f6e65;
        return value ? std::hash<std::remove_const_t<T>>()(*value) : kOfNothing;
    }
};

#endif  // KIV_BASE_OPTIONAL_H_
