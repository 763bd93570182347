// The view of a text that all interfaces of the library pass: a pointer and a size, in this order.
//
// Its operations have the meaning of those of `std::basic_string_view`, and the two convert into
// each other without a word; the class exists because its layout is part of the library's binary
// interface, and that of the standard view differs between systems.
#ifndef KIV_BASE_STRING_VIEW_H_
#define KIV_BASE_STRING_VIEW_H_

#include <compare>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

namespace kiv {
namespace detail {

template <class CharT, class Traits = std::char_traits<CharT>>
class basic_string_view {
    using std_view = std::basic_string_view<CharT, Traits>;

public:
    using traits_type = Traits;
    using value_type = CharT;
    using pointer = CharT*;
    using const_pointer = const CharT*;
    using reference = CharT&;
    using const_reference = const CharT&;
    using const_iterator = const CharT*;
    using iterator = const_iterator;
    using const_reverse_iterator = std::reverse_iterator<const_iterator>;
    using reverse_iterator = const_reverse_iterator;
    using size_type = std::size_t;
    using difference_type = std::ptrdiff_t;

    static constexpr size_type npos = static_cast<size_type>(-1);

    constexpr basic_string_view() noexcept = default;
    constexpr basic_string_view(const CharT* data, size_type size) noexcept
        : data_(data), size_(size) {}
    constexpr basic_string_view(const CharT* text) noexcept
        : data_(text), size_(Traits::length(text)) {}
    constexpr basic_string_view(std::nullptr_t) = delete;
    constexpr basic_string_view(std_view view) noexcept : data_(view.data()), size_(view.size()) {}
    template <class Allocator>
    constexpr basic_string_view(const std::basic_string<CharT, Traits, Allocator>& text) noexcept
        : data_(text.data()), size_(text.size()) {}

    constexpr operator std_view() const noexcept { return std_view(data_, size_); }
    template <class Allocator>
    constexpr explicit operator std::basic_string<CharT, Traits, Allocator>() const {
        return std::basic_string<CharT, Traits, Allocator>(data_, size_);
    }

    constexpr const_iterator begin() const noexcept { return data_; }
    constexpr const_iterator end() const noexcept { return data_ + size_; }
    constexpr const_iterator cbegin() const noexcept { return begin(); }
    constexpr const_iterator cend() const noexcept { return end(); }
    constexpr const_reverse_iterator rbegin() const noexcept {
        return const_reverse_iterator(end());
    }
    constexpr const_reverse_iterator rend() const noexcept {
        return const_reverse_iterator(begin());
    }
    constexpr const_reverse_iterator crbegin() const noexcept { return rbegin(); }
    constexpr const_reverse_iterator crend() const noexcept { return rend(); }

    constexpr const CharT* data() const noexcept { return data_; }
    constexpr size_type size() const noexcept { return size_; }
    constexpr size_type length() const noexcept { return size_; }
    constexpr size_type max_size() const noexcept { return std_view(*this).max_size(); }
    constexpr bool empty() const noexcept { return size_ == 0; }
    constexpr const CharT& operator[](size_type index) const { return data_[index]; }
    constexpr const CharT& at(size_type index) const { return std_view(*this).at(index); }
    constexpr const CharT& front() const { return data_[0]; }
    constexpr const CharT& back() const { return data_[size_ - 1]; }

    constexpr void remove_prefix(size_type count) {
        data_ += count;
        size_ -= count;
    }
    constexpr void remove_suffix(size_type count) { size_ -= count; }
    constexpr void swap(basic_string_view& other) noexcept { std::swap(*this, other); }
    constexpr size_type copy(CharT* to, size_type count, size_type from = 0) const {
        return std_view(*this).copy(to, count, from);
    }
    constexpr basic_string_view substr(size_type from = 0, size_type count = npos) const {
        return std_view(*this).substr(from, count);
    }

    constexpr int compare(basic_string_view other) const noexcept {
        return std_view(*this).compare(other);
    }
    constexpr int compare(size_type from, size_type count, basic_string_view other) const {
        return substr(from, count).compare(other);
    }
    constexpr bool starts_with(basic_string_view prefix) const noexcept {
        return std_view(*this).starts_with(prefix);
    }
    constexpr bool starts_with(CharT c) const noexcept { return std_view(*this).starts_with(c); }
    constexpr bool ends_with(basic_string_view suffix) const noexcept {
        return std_view(*this).ends_with(suffix);
    }
    constexpr bool ends_with(CharT c) const noexcept { return std_view(*this).ends_with(c); }

    constexpr size_type find(basic_string_view text, size_type from = 0) const noexcept {
        return std_view(*this).find(text, from);
    }
    constexpr size_type find(CharT c, size_type from = 0) const noexcept {
        return std_view(*this).find(c, from);
    }
    constexpr size_type rfind(basic_string_view text, size_type from = npos) const noexcept {
        return std_view(*this).rfind(text, from);
    }
    constexpr size_type rfind(CharT c, size_type from = npos) const noexcept {
        return std_view(*this).rfind(c, from);
    }
    constexpr size_type find_first_of(basic_string_view set, size_type from = 0) const noexcept {
        return std_view(*this).find_first_of(set, from);
    }
    constexpr size_type find_first_of(CharT c, size_type from = 0) const noexcept {
        return std_view(*this).find_first_of(c, from);
    }
    constexpr size_type find_last_of(basic_string_view set, size_type from = npos) const noexcept {
        return std_view(*this).find_last_of(set, from);
    }
    constexpr size_type find_last_of(CharT c, size_type from = npos) const noexcept {
        return std_view(*this).find_last_of(c, from);
    }
    constexpr size_type find_first_not_of(basic_string_view set,
                                          size_type from = 0) const noexcept {
        return std_view(*this).find_first_not_of(set, from);
    }
    constexpr size_type find_first_not_of(CharT c, size_type from = 0) const noexcept {
        return std_view(*this).find_first_not_of(c, from);
    }
    constexpr size_type find_last_not_of(basic_string_view set,
                                         size_type from = npos) const noexcept {
        return std_view(*this).find_last_not_of(set, from);
    }
    constexpr size_type find_last_not_of(CharT c, size_type from = npos) const noexcept {
        return std_view(*this).find_last_not_of(c, from);
    }

    friend constexpr bool operator==(basic_string_view a, basic_string_view b) noexcept {
        return a.size_ == b.size_ && Traits::compare(a.data_, b.data_, a.size_) == 0;
    }
    friend constexpr std::strong_ordering operator<=>(basic_string_view a,
                                                      basic_string_view b) noexcept {
        return a.compare(b) <=> 0;
    }
    friend std::basic_ostream<CharT, Traits>& operator<<(std::basic_ostream<CharT, Traits>& stream,
                                                         basic_string_view view) {
        return stream << std_view(view);
    }

private:
    const CharT* data_ = nullptr;
    size_type size_ = 0;
};

static_assert(sizeof(basic_string_view<char>) == 2 * sizeof(void*));

}  // namespace detail

using detail::basic_string_view;
using StringView = basic_string_view<char>;

}  // namespace kiv

template <class CharT, class Traits>
struct std::hash<kiv::detail::basic_string_view<CharT, Traits>> {
    std::size_t operator()(kiv::detail::basic_string_view<CharT, Traits> view) const noexcept {
        return std::hash<std::basic_string_view<CharT, Traits>>()(view);
    }
};

#endif  // KIV_BASE_STRING_VIEW_H_
