// A value or nothing, with the meaning of the standard optional.
//
// Only the failed access differs: it raises a class of the library, with one text on every system.
#ifndef KIV_BASE_OPTIONAL_H_
#define KIV_BASE_OPTIONAL_H_

#include <compare>
#include <concepts>
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
class optional {
public:
    using value_type = T;

    constexpr optional() noexcept = default;
    constexpr optional(std::nullopt_t) noexcept {}
    template <class U = T>
    requires(std::constructible_from<T, U> && !std::same_as<std::remove_cvref_t<U>, optional> &&
             !std::same_as<std::remove_cvref_t<U>,
                           std::in_place_t>) constexpr explicit(!std::convertible_to<U, T>)
        optional(U&& value)
        : value_(std::in_place, std::forward<U>(value)) {}
    template <class... Args>
    constexpr explicit optional(std::in_place_t, Args&&... args)
        : value_(std::in_place, std::forward<Args>(args)...) {}
    template <class U>
    requires(!std::same_as<U, T> &&
             std::convertible_to<const U&, T>) constexpr optional(const optional<U>& other) {
        if (other)
            value_ = *other;
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

    friend constexpr bool operator==(const optional& a, const optional& b) {
        return a.value_ == b.value_;
    }
    /// Nothing comes before every value.
    friend constexpr auto operator<=>(const optional& a,
                                      const optional& b) requires std::three_way_comparable<T> {
        return a.value_ <=> b.value_;
    }

private:
    template <class Self>
    static constexpr auto& _Checked(Self& self) {
        if (!self.value_)
            throw bad_optional_access();
        return *self.value_;
    }

    std::optional<T> value_;
};

}  // namespace kiv::detail

namespace kiv {

using detail::optional;

}  // namespace kiv

#endif  // KIV_BASE_OPTIONAL_H_
