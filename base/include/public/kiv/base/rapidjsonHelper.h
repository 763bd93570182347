// Typed data from JSON nodes and back.
//
//     int count = 0;
//     RapidjsonHelper::Deserialize(node, "count", count);
//
// `T` is one of the scalars of `archive.h`, from `bool` to `std::string`; lists are `Array<T>` or
// `std::vector<T>`, and those of `bool` a vector only.
#ifndef KIV_BASE_RAPIDJSON_HELPER_H_
#define KIV_BASE_RAPIDJSON_HELPER_H_

#include <string>
#include <vector>

#include <rapidjson/fwd.h>

#include "kiv/base/array.h"
#include "kiv/base/export.h"

namespace kiv {

class KIV_BASE_API RapidjsonHelper {
public:
    using Allocator = rapidjson::MemoryPoolAllocator<rapidjson::CrtAllocator>;

    /// A JSON array, whose memory comes from `allocator`.
    template <class T>
    static rapidjson::Value Serialize(const Array<T>& values, Allocator& allocator);
    template <class T>
    static rapidjson::Value Serialize(const std::vector<T>& values, Allocator& allocator);
    /// A copy of the text, up to its first zero byte.
    static rapidjson::Value Serialize(const std::string& text, Allocator& allocator);

    /// Converts member `name` of `node`, or `node` itself if `name` is null or empty. False, with a
    /// warning, if there is no such member; `out` is then left alone. Throws
    /// `std::invalid_argument` for a node of the wrong kind. Integers have to fit `T` as they were
    /// written, so `1.0` fits none; those of 8 and 16 bits are taken at 32 bits and cut. A `float`
    /// takes any number with a fraction within its finite range, and whole numbers that it can
    /// hold exactly.
    template <class T>
    static bool Deserialize(const rapidjson::Value& node, const char* name, T& out);

private:
    template <class T>
    static bool Deserialize(const rapidjson::Value& node, T& out);
    template <class T>
    static bool Deserialize(const rapidjson::Value& node, Array<T>& out);
    template <class T>
    static bool Deserialize(const rapidjson::Value& node, std::vector<T>& out);
};

}  // namespace kiv

#endif  // KIV_BASE_RAPIDJSON_HELPER_H_
