#include "kiv/base/jsonArchive.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "archive/sampleObjects.h"
#include "kiv/base/archiveTypes.h"

namespace kiv::testing {

struct Waypoint {
    int id = 0;
    std::vector<double> at;
    bool operator==(const Waypoint&) const = default;
};

}  // namespace kiv::testing

namespace kiv {

template <>
struct ArchiveSerializer<testing::Waypoint> {
    static void Serialize(Archive& archive, testing::Waypoint& value) {
        archive.SerializeInt32("id", value.id).SerializeDoubleArray("at", value.at);
    }
};

namespace {

using testing::Body;
using testing::Document;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::JsonForm;
using testing::SampleNode;
using testing::SampleScript;
using ::testing::SizeIs;
using testing::Waypoint;
using testing::WithoutIds;

using Writer = rapidjson::Writer<rapidjson::StringBuffer, rapidjson::UTF8<>, rapidjson::UTF8<>,
                                 rapidjson::CrtAllocator, rapidjson::kWriteNanAndInfFlag>;

using JsonArchiveTest = testing::ObjectTest;

template <class T>
Body Put(T value, Archive& (Archive::*serialize)(const StringView&, T&)) {
    return [=](Archive& archive) mutable { (archive.*serialize)("v", value); };
}

TEST_F(JsonArchiveTest, DataStandInTheDocument) {
    using A = Archive;
    const std::string text("a\"\\/\n\x01\x7f\xff\0b", 10);
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const std::pair<Body, const char*> cases[] = {
        {Put(true, &A::SerializeBool), "true"},
        {Put<signed char>(-128, &A::SerializeInt8), "-128"},
        {Put<unsigned char>(255, &A::SerializeUInt8), "255"},
        {Put<short>(-32768, &A::SerializeInt16), "-32768"},
        {Put<unsigned short>(65535, &A::SerializeUInt16), "65535"},
        {Put(std::numeric_limits<int>::min(), &A::SerializeInt32), "-2147483648"},
        {Put(~0u, &A::SerializeUInt32), "4294967295"},
        {Put(std::numeric_limits<int64>::min(), &A::SerializeInt64), "-9223372036854775808"},
        {Put(~uint64{0}, &A::SerializeUInt64), "18446744073709551615"},
        {Put(0.1f, &A::SerializeFloat), "0.10000000149011612"},
        {Put(-kInfinity, &A::SerializeFloat), "-Infinity"},
        {Put(-0.0, &A::SerializeDouble), "-0.0"},
        {Put(std::nan(""), &A::SerializeDouble), "NaN"},
        {Put(text, &A::SerializeString), "\"a\\\"\\\\/\\n\\u0001\x7f\xff\""},
        {Put(std::vector<bool>{true, false}, &A::SerializeBoolArray), "[true,false]"},
        {Put(Array<unsigned char>(), &A::SerializeUInt8Array), "[]"},
        {Put(std::vector{std::string("a\0b", 3), std::string()}, &A::SerializeStringArray),
         R"(["a",""])"},
        {Put(Array<float>{0.5f, -kInfinity}, &A::SerializeFloatArray), "[0.5,-Infinity]"},
        {Put(RefPtr<Object>(), &A::SerializeObject), "null"},
        {Put(WeakPtr<Object>(), &A::SerializeObject), "null"},
        {Put(Array<RefPtr<Object>>(2), &A::SerializeObjectArray), "[null,null]"},
        {Put(Array<Waypoint>{{1, {2}}, {}}, &A::Serialize<Waypoint>),
         R"([{"id":1,"at":[2.0]},{"id":0,"at":[]}])"},
        {Put(Array<Waypoint>(), &A::Serialize<Waypoint>), "[]"},
        {Put(Array<bool>{true, false}, &A::Serialize<bool>), "[true,false]"},
    };
    for (const auto& [write, expected] : cases)
        EXPECT_EQ(JsonForm::Written(write), Document("{\"v\":" + std::string(expected) + "}"));
    EXPECT_THAT(log.Take(), IsEmpty());
}

// What is left of calls that fit no scope is a document all the same.
TEST_F(JsonArchiveTest, ScopesStandInTheDocumentAndMisplacedCallsAreReported) {
    int one = 1;
    signed char small = 1;
    unsigned int size = 0;
    const struct {
        Body write;
        const char* root;
        int reports;
    } cases[] = {
        {[&](Archive&) {}, "{}", 0},
        {[&](Archive& a) { a.SerializeInt32("i", one).SerializeInt8("", small); }, "1", 0},
        {[&](Archive& a) { a.SerializeInt32(StringView("q\"\t\0z", 5), one); }, R"({"q\"\t":1})",
         0},
        {[&](Archive& a) {
             a.BeginObject("o");
             a.BeginArray("l", size);
             for (int i = 0; i < 2; ++i) {
                 a.GetArrayElement(0);
                 a.BeginObject("p");
                 a.EndObject("p");
                 a.ReleaseArrayElement();
             }
             a.EndArray("l");
             a.EndObject("o");
         },
         R"({"o":{"l":[{"p":{}},{"p":{}}]}})", 0},
        {[&](Archive& a) { a.EndObject("o"); }, "{}", 1},
        {[&](Archive& a) { a.BeginObject("o"), a.SerializeInt32("i", one); }, R"({"i":1})", 0},
        {[&](Archive& a) { a.BeginObject("o"), a.EndObject("other"); }, R"({"other":{}})", 0},
        {[&](Archive& a) {
             a.SerializeInt32("", one).SerializeInt32("i", one);
             a.BeginObject("o");
             a.SerializeInt32("i", one);
             a.EndObject("o");
         },
         "1", 2},
        {[&](Archive& a) {
             a.BeginArray("l", size);
             a.SerializeInt32("i", one);
             a.EndArray("l");
         },
         R"({"l":[]})", 1},
        {[&](Archive& a) {
             a.SerializeInt32("i", one);
             a.GetArrayElement(0);
             a.SerializeInt32("e", one);
             a.ReleaseArrayElement();
             a.SerializeInt32("j", one);
         },
         R"({"i":1,"j":1})", 1},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(JsonForm::Written(c.write), Document(c.root));
        EXPECT_THAT(log.Take(), SizeIs(c.reports)) << c.root;
    }
}

// The values, and then so many whose bits are random.
template <class Real, class Bits>
std::vector<Real> WithRandomOnes(std::vector<Real> values, std::mt19937_64& random) {
    while (values.size() < 100000) {
        const Real real = std::bit_cast<Real>(static_cast<Bits>(random()));
        if (std::isfinite(real))
            values.push_back(real);
    }
    return values;
}

TEST_F(JsonArchiveTest, NumbersComeBackBitForBitInTheShortestText) {
    using Limits = std::numeric_limits<double>;
    using FloatLimits = std::numeric_limits<float>;
    const unsigned seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937_64 random(seed);
    std::vector<double> doubles = WithRandomOnes<double, uint64>(
        {0.0, -0.0, 0.1, 5e-324, 2.2250738585072014e-308, 2.225073858507201e-308, Limits::max(),
         Limits::lowest(), Limits::infinity(), std::nan("")},
        random);
    std::vector<float> floats = WithRandomOnes<float, uint32>(
        {0.0f, -0.0f, 1e-45f, FloatLimits::min(), FloatLimits::max(), FloatLimits::lowest()},
        random);
    rapidjson::StringBuffer expected;
    Writer writer(expected);
    writer.StartArray();
    for (double real : doubles)
        writer.Double(real);
    writer.EndArray();

    const std::string text = JsonForm::Written([&](Archive& archive) {
        archive.SerializeDoubleArray("d", doubles).SerializeFloatArray("f", floats);
    });
    EXPECT_THAT(text, HasSubstr(std::string("\"d\":") + expected.GetString()));
    std::vector<double> readDoubles;
    std::vector<float> readFloats;
    JsonForm::Read(text, [&](Archive& archive) {
        archive.SerializeDoubleArray("d", readDoubles).SerializeFloatArray("f", readFloats);
    });
    ASSERT_EQ(readDoubles.size(), doubles.size());
    ASSERT_EQ(readFloats.size(), floats.size());
    EXPECT_EQ(std::memcmp(readDoubles.data(), doubles.data(), doubles.size() * sizeof(double)), 0);
    EXPECT_EQ(std::memcmp(readFloats.data(), floats.data(), floats.size() * sizeof(float)), 0);
}

// Texts of numbers that no writer of ours makes.
TEST_F(JsonArchiveTest, ForeignNumbersReadAsTheNearestDouble) {
    const std::string zeros(400, '0');
    const std::string digits = "1" + std::string(800, '7');
    for (const std::string& text : std::vector<std::string>{
             "0e300", "0.0e-999999999999", "1e-400", "-1e-400", "0.1E+1", "2.4703282292062328e-324",
             "0." + zeros + "1e401", "1" + std::string(300, '0') + ".5e-250", "0." + digits,
             digits.substr(0, 300) + "e8", "1e-99999999999999999999",
             "0." + zeros + "1e-2147483647"}) {
        double real = 7;
        JsonForm::Read(Document("{\"d\":" + text + "}"),
                       [&](Archive& archive) { archive.SerializeDouble("d", real); });
        EXPECT_EQ(real, std::strtod(text.c_str(), nullptr)) << text;
        EXPECT_EQ(std::signbit(real), text[0] == '-') << text;
    }
}

TEST_F(JsonArchiveTest, StringsAreEscapedAsByRapidjson) {
    const unsigned seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (int round = 0; round < 3000; ++round) {
        std::string text(random() % 40, ' ');
        for (char& c : text)
            c = static_cast<char>(random() % 8 == 0 ? random() : 'a' + random() % 26);
        text = text.c_str();
        rapidjson::StringBuffer expected;
        Writer writer(expected);
        writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));

        const std::string document = JsonForm::Written(Put(text, &Archive::SerializeString));
        EXPECT_EQ(document, Document(std::string("{\"v\":") + expected.GetString() + "}"));
        std::string read;
        JsonForm::Read(document, [&](Archive& archive) { archive.SerializeString("v", read); });
        EXPECT_EQ(read, text);
    }
}

TEST_F(JsonArchiveTest, DocumentMayBeTakenWhileObjectsAreWritten) {
    std::string during;
    SampleScript::body = [&](SampleScript&, Archive& archive) {
        int one = 1;
        archive.SerializeInt32("i", one);
        static_cast<JsonOutputArchive&>(archive).ToString(during);
        EXPECT_EQ(static_cast<JsonOutputArchive&>(archive).GetDisplayJson("i", ""), "1");
        archive.SerializeInt32("j", one);
    };
    RefPtr<Object> object = MakeRefCounted<SampleScript>();

    const std::string text = JsonForm::Written(Put(object, &Archive::SerializeObject));

    EXPECT_EQ(WithoutIds(during), Document(R"({"i":1})", R"("#1":{})"));
    EXPECT_EQ(
        WithoutIds(text),
        Document(R"({"v":{"INSTANCE_ID":#1,"KIV_TYPE_NAME":"Sample\"Script","IS_REFERENCE":true}})",
                 R"("#1":{"i":1,"j":1,"INSTANCE_ID":#1,"KIV_TYPE_NAME":"Sample\"Script"})"));
}

TEST_F(JsonArchiveTest, WeakReferenceHasNoEntry) {
    auto node = MakeRefCounted<SampleNode>();
    auto* const flag = new detail::WeakPtrFlag;
    WeakPtr<Object> weak(node.get(), flag);
    Array<WeakPtr<Object>> list = {weak, WeakPtr<Object>()};
    JsonOutputArchive archive({});
    archive.SerializeObject("w", weak).SerializeObjectArray("l", list);

    std::string text;
    archive.ToString(text);
    const std::string reference =
        R"({"INSTANCE_ID":#1,"KIV_TYPE_NAME":"SampleNode","IS_REFERENCE":true})";
    EXPECT_EQ(WithoutIds(text),
              Document("{\"w\":" + reference + ",\"l\":[" + reference + ",null]}"));
    EXPECT_EQ(WithoutIds(archive.GetDisplayJson("w", "")),
              R"({"IS_REFERENCE":true,"INSTANCE_ID":#1})");
    flag->Release();
}

TEST_F(JsonArchiveTest, FieldsAreFoundInAnyOrderAndMissedWithAWarning) {
    JsonInputArchive input({});
    input.FromString(
        Document(R"({"w":{"at":[1,2.5]},"n":{"id":7,"at":[],"id":8},"l":[{"id":3},{}]})"));
    Waypoint waypoint{5, {9}};
    Waypoint other{5, {9}};
    Waypoint absent{5, {9}};
    Array<Waypoint> list(5);
    Array<Waypoint> absentList = list;

    input.Serialize("n", other).Serialize("w", waypoint).Serialize("x", absent);
    input.Serialize("l", list).Serialize("n", absentList);

    EXPECT_EQ(waypoint, (Waypoint{5, {1, 2.5}}));
    EXPECT_EQ(other, (Waypoint{7, {}}));
    EXPECT_EQ(absent, (Waypoint{5, {9}}));
    EXPECT_THAT(list, ElementsAre(Waypoint{3, {}}, Waypoint()));
    EXPECT_THAT(absentList, SizeIs(5));
    const std::string missing =
        "[tag:RapidjsonHelper]Failed to deserialize: Node does not have member ";
    EXPECT_THAT(TakeLog(LogLevel::Warn),
                ElementsAre(missing + "id.",
                            "[tag:JsonInputArchive]Object 'x' not found in the current context.",
                            "[tag:Archive]Failed to begin object for name: x", missing + "at.",
                            missing + "id.", missing + "at.",
                            "[tag:JsonInputArchive]Array 'n' not found in the current context.",
                            "[tag:Archive]Failed to begin array for name: n"));
}

TEST_F(JsonArchiveTest, ElementIsEnteredOncePerBeginArray) {
    JsonInputArchive input({});
    input.FromString(Document(R"({"l":[{"id":1},{"id":2},{"id":3}]})"));
    for (int round = 0; round < 2; ++round) {
        unsigned int size = 0;
        ASSERT_TRUE(input.BeginArray("l", size));
        EXPECT_EQ(size, 3u);
        // The index, and the id that is found there: 0 is none.
        const int visits[][2] = {{2, 3}, {0, 1}, {0, 0}, {1, 2}, {2, 0}, {1, 0}, {3, 0}};
        for (const auto& [index, id] : visits) {
            int read = 0;
            EXPECT_EQ(input.GetArrayElement(static_cast<unsigned>(index)), index < 3);
            input.SerializeInt32("id", read);
            EXPECT_EQ(read, id) << index;
            input.ReleaseArrayElement();
        }
        input.EndArray("l");
    }
}

TEST_F(JsonArchiveTest, ScopeEndsWithoutABeginningAreReported) {
    int one = 0;
    JsonForm::Read(Document(R"({"i":1})"), [&](Archive& archive) {
        archive.EndObject("o");
        archive.ReleaseArrayElement();
        archive.SerializeInt32("i", one);
    });
    EXPECT_EQ(one, 1);
    EXPECT_THAT(log.Take(), SizeIs(2));
}

TEST_F(JsonArchiveTest, SecondDocumentReplacesWhatItHas) {
    JsonInputArchive input({});
    int value = 0;
    input.FromString(Document(R"({"i":1})"));
    input.FromString("{}");
    input.SerializeInt32("i", value);
    EXPECT_EQ(value, 1);
    EXPECT_THROW(input.FromString("{"), std::runtime_error);
    input.SerializeInt32("i", value);
    input.FromString(Document(R"({"i":2})"));
    input.SerializeInt32("i", value);
    EXPECT_EQ(value, 2);
}

TEST_F(JsonArchiveTest, KeysOfTheMapAreReadAsWholeNumbers) {
    const std::string largest = "18446744073709551615";
    const std::pair<std::string, std::string> cases[] = {
        {"7", "7"},  {"007", "7"}, {" \\t7", "7"},  {"+7", "7"},
        {"7x", "7"}, {"0", "0"},   {"-1", largest}, {largest, largest}};
    for (const auto& [key, id] : cases) {
        SCOPED_TRACE(key);
        RefPtr<SampleNode> read;
        JsonForm::Read(
            Document("{\"o\":{\"INSTANCE_ID\":" + id + "}}",
                     R"("7":{"KIV_TYPE_NAME":5},")" + key +
                         R"(":{"count":{"type":"int","value":5},"KIV_TYPE_NAME":"SampleNode"})"),
            [&](Archive& archive) { archive.Serialize<SampleNode>("o", read); });
        ASSERT_TRUE(read);
        EXPECT_EQ(read->count, 5);
    }
    const auto load = [](const std::string& key) {
        JsonInputArchive({}).FromString(Document("{}", "\"" + key + "\":{}"));
    };
    for (const char* key : {"", "x", "-", "\\u0000"})
        EXPECT_THROW(load(key), std::invalid_argument) << key;
    EXPECT_THROW(load("18446744073709551616"), std::out_of_range);
}

TEST_F(JsonArchiveTest, ReferencesThatLeadNowhereAreLogged) {
    const std::string notFound = "Object not found in the map. ID: 18446744073709551615";
    const std::string reference =
        "[tag:JsonInputArchive::SerializeObject]Object can't be created. ID: ";
    const std::string noId = reference + "0, TypeName: ";
    const std::string create = "[tag:JsonArchive::CreateObjectByID]";
    const std::string noType = create + "Can't find object type: . Please regester it.";
    const struct {
        std::string node;
        std::vector<std::string> texts;
        // A type that can't be made is remembered, and stands as null in a list; a reference
        // without an object is reported again, and left out.
        std::size_t listed;
        std::size_t repeated;
    } cases[] = {
        {"null", {}, 2, 0},
        {"5", {}, 1, 1},
        {R"({"INSTANCE_ID":18446744073709551615,"KIV_TYPE_NAME":"T"})",
         {notFound, reference + "18446744073709551615, TypeName: T"},
         1,
         2},
        {R"({"KIV_TYPE_NAME":5})", {noId}, 1, 1},
        {R"({"INSTANCE_ID":-1})", {noId}, 1, 1},
        {R"({"INSTANCE_ID":1.0})", {noId}, 1, 1},
        {R"({"INSTANCE_ID":"1"})", {noId}, 1, 1},
        {R"({"INSTANCE_ID":1})",
         {create + "Can't find object type: Unknown. Please regester it."},
         2,
         0},
        {R"({"INSTANCE_ID":2})", {create + "Object type Object can't be created."}, 2, 0},
        {R"({"INSTANCE_ID":3})", {noType}, 2, 0},
        {R"({"INSTANCE_ID":4})", {noType}, 2, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.node);
        JsonInputArchive archive({});
        archive.FromString(
            Document("{\"o\":" + c.node + ",\"l\":[" + c.node + ",null]}",
                     R"("1":{"KIV_TYPE_NAME":"Unknown"},"2":{"KIV_TYPE_NAME":"Object"},)"
                     R"("3":{"KIV_TYPE_NAME":[]},"4":[])"));
        RefPtr<SampleNode> object = MakeRefCounted<SampleNode>();
        archive.Serialize<SampleNode>("o", object);
        EXPECT_FALSE(object);
        EXPECT_EQ(TakeLog(), c.texts);
        Array<RefPtr<Object>> list;
        archive.SerializeObjectArray("l", list);
        EXPECT_THAT(list, SizeIs(c.listed));
        EXPECT_THAT(log.Take(), SizeIs(c.repeated));
    }
}

}  // namespace
}  // namespace kiv
