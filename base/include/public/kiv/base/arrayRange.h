// A view of the elements of a list that a predicate accepts; an empty predicate accepts all.
//
//     for (const Type& base : type.GetBaseTypes()) ...
//
// The range points into the list: it is valid for as long as nobody changes that.
#ifndef KIV_BASE_ARRAY_RANGE_H_
#define KIV_BASE_ARRAY_RANGE_H_

#include <cstddef>
#include <functional>
#include <iterator>
#include <utility>

namespace kiv {
namespace detail {

template <class T>
struct default_predicate {
    std::function<bool(const T&)> accepts;
    bool operator()(const T& element) const { return !accepts || accepts(element); }
    bool AcceptsAll() const { return !accepts; }
};

}  // namespace detail

/// Steps over rejected elements, towards the end of the list or (`Reverse`) towards its begin.
template <class T, class Predicate, bool Reverse>
class basic_array_iterator {
public:
    using iterator_category = std::bidirectional_iterator_tag;
    using value_type = T;
    using difference_type = std::ptrdiff_t;
    using pointer = const T*;
    using reference = const T&;

    basic_array_iterator() = default;
    /// `at` is the element to begin with, behind which the first accepted one is looked for.
    basic_array_iterator(const T* begin, const T* end, const T* at, const Predicate* predicate)
        : begin_(begin), end_(end), at_(at), predicate_(predicate) {
        _SkipForward();
    }

    // A reverse iterator stands behind its element, as those of the standard library do.
    reference operator*() const { return Reverse ? at_[-1] : at_[0]; }
    pointer operator->() const { return &**this; }

    basic_array_iterator& operator++() {
        at_ += Reverse ? -1 : 1;
        _SkipForward();
        return *this;
    }
    basic_array_iterator operator++(int) { return std::exchange(*this, std::next(*this)); }
    basic_array_iterator& operator--() {
        do {
            at_ += Reverse ? 1 : -1;
        } while (!(*predicate_)(**this));
        return *this;
    }
    basic_array_iterator operator--(int) { return std::exchange(*this, std::prev(*this)); }

    bool operator==(const basic_array_iterator& other) const { return at_ == other.at_; }

private:
    void _SkipForward() {
        while (at_ != (Reverse ? begin_ : end_) && !(*predicate_)(**this))
            at_ += Reverse ? -1 : 1;
    }

    const T* begin_ = nullptr;
    const T* end_ = nullptr;
    const T* at_ = nullptr;
    const Predicate* predicate_ = nullptr;
};

template <class T, class Predicate = detail::default_predicate<T>>
using array_iterator = basic_array_iterator<T, Predicate, false>;
template <class T, class Predicate = detail::default_predicate<T>>
using array_reverse_iterator = basic_array_iterator<T, Predicate, true>;

template <class T, class Predicate = detail::default_predicate<T>>
class array_range {
public:
    using iterator = array_iterator<T, Predicate>;
    using reverse_iterator = array_reverse_iterator<T, Predicate>;

    array_range() = default;
    array_range(const T* begin, std::size_t size, Predicate predicate = {})
        : begin_(begin), end_(begin + size), predicate_(std::move(predicate)) {}

    /// The iterators point at the predicate of this range and must not outlive it.
    iterator begin() const { return iterator(begin_, end_, begin_, &predicate_); }
    iterator end() const { return iterator(begin_, end_, end_, &predicate_); }
    reverse_iterator rbegin() const { return reverse_iterator(begin_, end_, end_, &predicate_); }
    reverse_iterator rend() const { return reverse_iterator(begin_, end_, begin_, &predicate_); }
    reverse_iterator crbegin() const { return rbegin(); }
    reverse_iterator crend() const { return rend(); }

    /// The number of accepted elements; counts them when there is a predicate.
    std::size_t size() const {
        if constexpr (requires { predicate_.AcceptsAll(); })
            if (predicate_.AcceptsAll())
                return static_cast<std::size_t>(end_ - begin_);
        return static_cast<std::size_t>(std::distance(begin(), end()));
    }
    bool empty() const { return begin() == end(); }

private:
    const T* begin_ = nullptr;
    const T* end_ = nullptr;
    Predicate predicate_;
};

}  // namespace kiv

#endif  // KIV_BASE_ARRAY_RANGE_H_
