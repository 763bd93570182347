#include "kiv/base/rapidjsonHelper.h"

#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include "archive/sampleObjects.h"
#include "kiv/base/integers.h"

namespace kiv {
namespace {

using ::testing::ElementsAre;

constexpr char kNoInt[] = "Failed to deserialize: Value is not an int.";
constexpr char kNoUint[] = "Failed to deserialize: Value is not an unsigned int.";
constexpr char kMismatch[] = "Failed to deserialize: Type mismatch.";
constexpr char kNoFloat[] = "Failed to deserialize: Value is not a float.";
constexpr char kNoDouble[] = "Failed to deserialize: Value is not a double.";
constexpr char kNoString[] = "Failed to deserialize: Value is not a string.";
constexpr char kNoArray[] = "Failed to deserialize: Node is not an array.";

using RapidjsonHelperTest = testing::ObjectTest;

rapidjson::Document Parse(const char* json) {
    rapidjson::Document document;
    document.Parse<rapidjson::kParseNanAndInfFlag | rapidjson::kParseFullPrecisionFlag>(json);
    EXPECT_FALSE(document.HasParseError()) << json;
    return document;
}

// A conversion, with the result as JSON would spell it, or the text of the exception.
template <class T>
std::string Converted(const rapidjson::Value& node) {
    T out{};
    try {
        EXPECT_TRUE(RapidjsonHelper::Deserialize(node, nullptr, out));
    } catch (const std::invalid_argument& error) {
        EXPECT_EQ(out, T{});
        return error.what();
    }
    if constexpr (std::is_same_v<T, std::string>)
        return out;
    else
        return std::to_string(out);
}

TEST_F(RapidjsonHelperTest, NodeFitsItsTargetOrIsRefused) {
    const struct {
        const char* json;
        std::string (*convert)(const rapidjson::Value&);
        const char* result;
    } cases[] = {
        {"-129", Converted<signed char>, "127"},
        {"300", Converted<unsigned char>, "44"},
        {"2147483648", Converted<short>, kNoInt},
        {"-1", Converted<unsigned short>, kNoUint},
        {"1.0", Converted<short>, kNoInt},
        {"2147483648", Converted<int>, kMismatch},
        {"-2147483648", Converted<int>, "-2147483648"},
        {"-1", Converted<unsigned int>, kMismatch},
        {"9223372036854775808", Converted<int64>, kMismatch},
        {"-9223372036854775808", Converted<int64>, "-9223372036854775808"},
        {"18446744073709551615", Converted<uint64>, "18446744073709551615"},
        {"-1", Converted<uint64>, kMismatch},
        {"\"1\"", Converted<int>, kMismatch},
        {"1", Converted<bool>, kMismatch},
        {"true", Converted<bool>, "1"},
        {"16777216", Converted<float>, "16777216.000000"},
        {"16777217", Converted<float>, kNoFloat},
        {"-16777217", Converted<float>, kNoFloat},
        // As a double it would be rounded to 2 to the power of 53, which a float holds.
        {"9007199254740993", Converted<float>, kNoFloat},
        {"0.1", Converted<float>, "0.100000"},
        {"3.4028234663852886e38", Converted<float>,
         "340282346638528859811704183484516925440.000000"},
        {"3.402823466385289e38", Converted<float>, kNoFloat},
        {"-3.402823466385289e38", Converted<float>, kNoFloat},
        {"NaN", Converted<float>, kNoFloat},
        {"Infinity", Converted<float>, kNoFloat},
        {"9007199254740993", Converted<double>, kNoDouble},
        {"18446744073709551615", Converted<double>, kNoDouble},
        {"9223372036854775808", Converted<double>, "9223372036854775808.000000"},
        {"NaN", Converted<double>, "nan"},
        {"[]", Converted<double>, kNoDouble},
        {"\"a\"", Converted<std::string>, "a"},
        {"5", Converted<std::string>, kNoString},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.json);
        EXPECT_EQ(c.convert(Parse(c.json)), c.result);
    }
}

TEST_F(RapidjsonHelperTest, MemberIsFoundByNameOrMissedWithAWarning) {
    const rapidjson::Document document = Parse(R"({"a":1,"b":[1,2]})");
    int value = 7;
    EXPECT_TRUE(RapidjsonHelper::Deserialize(document, "a", value));
    EXPECT_EQ(value, 1);
    EXPECT_TRUE(RapidjsonHelper::Deserialize(document["a"], "", value));
    EXPECT_FALSE(RapidjsonHelper::Deserialize(document, "c", value));
    EXPECT_FALSE(RapidjsonHelper::Deserialize(document["b"], "a", value));
    EXPECT_EQ(value, 1);
    const std::string missing =
        "[tag:RapidjsonHelper]Failed to deserialize: Node does not have member ";
    EXPECT_THAT(TakeLog(LogLevel::Warn), ElementsAre(missing + "c.", missing + "a."));
}

template <class List>
void ExpectListsToGoThrough(const List& values, const char* json) {
    rapidjson::Document document;
    const rapidjson::Value node = RapidjsonHelper::Serialize(values, document.GetAllocator());
    EXPECT_EQ(node, Parse(json));

    List read = values;
    EXPECT_TRUE(RapidjsonHelper::Deserialize(node, nullptr, read));
    EXPECT_EQ(read, values);  // cleared first

    EXPECT_THAT([&] { RapidjsonHelper::Deserialize(Parse("{}"), nullptr, read); },
                ::testing::ThrowsMessage<std::invalid_argument>(kNoArray));
    EXPECT_THROW(RapidjsonHelper::Deserialize(Parse("[[]]"), nullptr, read), std::invalid_argument);
}

TEST_F(RapidjsonHelperTest, ListsGoThroughWhole) {
    ExpectListsToGoThrough(Array<int>{1, -2}, "[1,-2]");
    ExpectListsToGoThrough(Array<std::string>{"a"}, R"(["a"])");
    ExpectListsToGoThrough(std::vector<bool>{true, false}, "[true,false]");
    ExpectListsToGoThrough(Array<float>{0.5f}, "[0.5]");
    ExpectListsToGoThrough(std::vector<unsigned char>{200}, "[200]");
    ExpectListsToGoThrough(std::vector<uint64>(), "[]");
}

}  // namespace
}  // namespace kiv
