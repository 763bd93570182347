#include "kiv/base/rapidjsonHelper.h"

#include <bit>
#include <concepts>
#include <limits>
#include <stdexcept>

#include "archive/jsonNode.h"
#include "kiv/base/archive.h"
#include "kiv/base/integers.h"
#include "kiv/base/logging.h"

namespace kiv {
namespace {

using Node = rapidjson::Value;

constexpr char kTypeMismatch[] = "Failed to deserialize: Type mismatch.";

void Require(bool fits, const char* text) {
    if (!fits)
        throw std::invalid_argument(text);
}

// Whether a node that is a whole number survives the way into `Real` and back: its set bits have to
// fit the mantissa. Tested on the integer, since a conversion on the way would round it already.
template <class Real>
bool IsExactlyHeld(const Node& node) {
    if (!node.IsUint64() && !node.IsInt64())
        return false;
    const uint64 magnitude =
        node.IsUint64() ? node.GetUint64() : uint64{0} - static_cast<uint64>(node.GetInt64());
    return magnitude == 0 || std::bit_width(magnitude) - std::countr_zero(magnitude) <=
                                 std::numeric_limits<Real>::digits;
}

void Convert(const Node& node, bool& out) {
    Require(node.IsBool(), kTypeMismatch);
    out = node.GetBool();
}

// Narrow integers are taken at 32 bits and cut.
template <std::signed_integral T>
requires(sizeof(T) < sizeof(int)) void Convert(const Node& node, T& out) {
    Require(node.IsInt(), "Failed to deserialize: Value is not an int.");
    out = static_cast<T>(node.GetInt());
}

template <std::unsigned_integral T>
requires(sizeof(T) < sizeof(int)) void Convert(const Node& node, T& out) {
    Require(node.IsUint(), "Failed to deserialize: Value is not an unsigned int.");
    out = static_cast<T>(node.GetUint());
}

template <std::integral T>
requires(sizeof(T) >= sizeof(int)) void Convert(const Node& node, T& out) {
    Require(node.Is<T>(), kTypeMismatch);
    out = node.Get<T>();
}

void Convert(const Node& node, float& out) {
    constexpr double kMax = std::numeric_limits<float>::max();
    // NaN fails both comparisons.
    const bool fits = node.IsDouble() ? node.GetDouble() >= -kMax && node.GetDouble() <= kMax
                                      : IsExactlyHeld<float>(node);
    Require(fits, "Failed to deserialize: Value is not a float.");
    out = static_cast<float>(node.GetDouble());
}

void Convert(const Node& node, double& out) {
    Require(node.IsDouble() || IsExactlyHeld<double>(node),
            "Failed to deserialize: Value is not a double.");
    out = node.GetDouble();
}

void Convert(const Node& node, std::string& out) {
    Require(node.IsString(), "Failed to deserialize: Value is not a string.");
    out.assign(node.GetString(), node.GetStringLength());
}

void RequireArray(const Node& node) {
    Require(node.IsArray(), "Failed to deserialize: Node is not an array.");
}

template <class T>
Node ToNode(const T& value, RapidjsonHelper::Allocator&) {
    return Node(value);
}
Node ToNode(float value, RapidjsonHelper::Allocator&) {
    return Node(static_cast<double>(value));
}
Node ToNode(const std::string& value, RapidjsonHelper::Allocator& allocator) {
    return Node(value.c_str(), allocator);
}

template <class List>
Node ToArray(const List& values, RapidjsonHelper::Allocator& allocator) {
    Node array(rapidjson::kArrayType);
    array.Reserve(static_cast<rapidjson::SizeType>(values.size()), allocator);
    for (const auto& value : values)
        array.PushBack(ToNode(value, allocator), allocator);
    return array;
}

}  // namespace

template <class T>
rapidjson::Value RapidjsonHelper::Serialize(const Array<T>& values, Allocator& allocator) {
    return ToArray(values, allocator);
}

template <class T>
rapidjson::Value RapidjsonHelper::Serialize(const std::vector<T>& values, Allocator& allocator) {
    return ToArray(values, allocator);
}

rapidjson::Value RapidjsonHelper::Serialize(const std::string& text, Allocator& allocator) {
    return ToNode(text, allocator);
}

template <class T>
bool RapidjsonHelper::Deserialize(const rapidjson::Value& node, const char* name, T& out) {
    if (!name || !*name)
        return Deserialize(node, out);
    if (node.IsObject()) {
        const auto member = node.FindMember(name);
        if (member != node.MemberEnd())
            return Deserialize(member->value, out);
    }
    baseLogger2.log(LogLevel::Warn, "RapidjsonHelper",
                    "Failed to deserialize: Node does not have member %s.", name);
    return false;
}

template <class T>
bool RapidjsonHelper::Deserialize(const rapidjson::Value& node, T& out) {
    Convert(node, out);
    return true;
}

template <class T>
bool RapidjsonHelper::Deserialize(const rapidjson::Value& node, Array<T>& out) {
    RequireArray(node);
    out.clear();
    out.reserve(node.Size());
    for (const Node& element : node.GetArray()) {
        T value;
        Convert(element, value);
        out.emplace_back(std::move(value));
    }
    return true;
}

template <class T>
bool RapidjsonHelper::Deserialize(const rapidjson::Value& node, std::vector<T>& out) {
    RequireArray(node);
    out.clear();
    out.reserve(node.Size());
    for (const Node& element : node.GetArray()) {
        T value;
        Convert(element, value);
        out.push_back(std::move(value));
    }
    return true;
}

#define KIV_DEFINE_SCALAR(Type, Name)                                                        \
    template bool RapidjsonHelper::Deserialize(const rapidjson::Value&, const char*, Type&); \
    template bool RapidjsonHelper::Deserialize(const rapidjson::Value&, const char*,         \
                                               std::vector<Type>&);                          \
    template rapidjson::Value RapidjsonHelper::Serialize(const std::vector<Type>&, Allocator&);
KIV_FOR_EACH_ARCHIVE_SCALAR(KIV_DEFINE_SCALAR)
#undef KIV_DEFINE_SCALAR

#define KIV_DEFINE_ARRAY(Type, Name)                                                 \
    template bool RapidjsonHelper::Deserialize(const rapidjson::Value&, const char*, \
                                               Array<Type>&);                        \
    template rapidjson::Value RapidjsonHelper::Serialize(const Array<Type>&, Allocator&);
KIV_FOR_EACH_ARCHIVE_ELEMENT(KIV_DEFINE_ARRAY)
#undef KIV_DEFINE_ARRAY

}  // namespace kiv
