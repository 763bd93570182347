// How numbers stand in a binary archive: integers most significant byte first, floating-point
// numbers as they lie in memory, a `bool` as a byte.
#ifndef KIV_BASE_ARCHIVE_BINARY_CODEC_H_
#define KIV_BASE_ARCHIVE_BINARY_CODEC_H_

#include <cstddef>
#include <cstring>
#include <type_traits>
#include <vector>

#include "kiv/base/array.h"
#include "kiv/base/byteBuffer.h"
#include "kiv/base/integers.h"

namespace kiv::internal {

/// In bytes; of a list, that of each element.
template <class T>
inline constexpr std::size_t kEncodedSize = sizeof(T);
template <>
inline constexpr std::size_t kEncodedSize<bool> = 1;

/// True for what has the same bytes in memory as in the archive.
template <class T>
inline constexpr bool kEncodedAsItLies = std::is_floating_point_v<T> ||
                                         (sizeof(T) == 1 && !std::is_same_v<T, bool>);

template <class T>
void Encode(T value, unsigned char* to) {
    if constexpr (std::is_same_v<T, bool>) {
        *to = value ? 1 : 0;
    } else if constexpr (kEncodedAsItLies<T>) {
        std::memcpy(to, &value, sizeof(T));
    } else {
        const auto encoded = detail::BigEndian(static_cast<std::make_unsigned_t<T>>(value));
        std::memcpy(to, &encoded, sizeof(T));
    }
}

template <class T>
T Decode(const unsigned char* from) {
    if constexpr (std::is_same_v<T, bool>) {
        return *from != 0;
    } else if constexpr (kEncodedAsItLies<T>) {
        T value;
        std::memcpy(&value, from, sizeof(T));
        return value;
    } else {
        std::make_unsigned_t<T> encoded;
        std::memcpy(&encoded, from, sizeof(T));
        return static_cast<T>(detail::BigEndian(encoded));
    }
}

/// The elements of a list, one behind the other. `List` is const and gives its elements in order.
template <class List>
void EncodeAll(const List& values, unsigned char* to) {
    using T = typename List::value_type;
    if constexpr (kEncodedAsItLies<T>) {
        std::memcpy(to, values.data(), values.size() * sizeof(T));
    } else {
        for (const T value : values) {
            Encode(value, to);
            to += kEncodedSize<T>;
        }
    }
}

/// Replaces the contents of a list by `count` elements.
template <class T>
void DecodeAll(const unsigned char* from, uint64 count, std::vector<T>& values) {
    values.clear();
    values.resize(count);
    if constexpr (kEncodedAsItLies<T>) {
        if (count > 0)
            std::memcpy(values.data(), from, count * sizeof(T));
    } else {
        for (uint64 i = 0; i < count; ++i)
            values[i] = Decode<T>(from + i * kEncodedSize<T>);
    }
}
template <class T>
void DecodeAll(const unsigned char* from, uint64 count, Array<T>& values) {
    values._Overwrite(count, [from, count](T* to) {
        if constexpr (kEncodedAsItLies<T>) {
            std::memcpy(to, from, count * sizeof(T));
        } else {
            for (uint64 i = 0; i < count; ++i)
                to[i] = Decode<T>(from + i * kEncodedSize<T>);
        }
    });
}

/// The tag of an object record.
enum class RecordTag : unsigned char { kNull = 0, kFull = 1, kReference = 2 };

/// Of the tag and the id, which every record begins with.
inline constexpr std::size_t kRecordHeadSize = 1 + sizeof(uint64);

}  // namespace kiv::internal

#endif  // KIV_BASE_ARCHIVE_BINARY_CODEC_H_
