#include "kiv/base/jsonArchive.h"

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "archive/sampleObjects.h"
#include "kiv/base/archiveTypes.h"
#include "support/logCatcher.h"

namespace kiv::testing {

struct Waypoint {
    int id = 0;
    std::vector<double> at;
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

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::LogCatcher;
using testing::LogLine;
using testing::SampleNode;
using testing::SampleScript;
using ::testing::SizeIs;
using testing::Waypoint;
using testing::WithoutIds;

using Writer = rapidjson::Writer<rapidjson::StringBuffer, rapidjson::UTF8<>, rapidjson::UTF8<>,
                                 rapidjson::CrtAllocator, rapidjson::kWriteNanAndInfFlag>;

std::string Document(const std::string& root, const std::string& map = "") {
    return R"({"JSON_ARCHIVE":{"KIV_ARCHIVE_OBJECT":)" + root + R"(,"KIV_ARCHIVE_OBJECT_MAP":{)" +
           map + "}}}";
}

std::string TextOf(JsonOutputArchive& archive) {
    std::string text = "replaced";
    archive.ToString(text);
    return text;
}

class JsonArchiveTest : public ::testing::Test {
protected:
    ~JsonArchiveTest() override {
        SampleNode::CutAll();
        EXPECT_THAT(SampleNode::living, IsEmpty());
        EXPECT_EQ(SampleScript::alive, 0);
    }

    LogCatcher log;
};

// What one run of operations writes, into one object or list of names.
TEST_F(JsonArchiveTest, OperationsStandInTheDocument) {
    bool yes = true;
    signed char int8 = -128;
    unsigned char uint8 = 255;
    short int16 = -32768;
    unsigned short uint16 = 65535;
    int int32 = std::numeric_limits<int>::min();
    unsigned int uint32 = std::numeric_limits<unsigned int>::max();
    int64 low = std::numeric_limits<int64>::min();
    uint64 high = std::numeric_limits<uint64>::max();
    float tenth = 0.1f;
    double real = -0.0;
    double none = std::nan("");
    float infinite = -std::numeric_limits<float>::infinity();
    std::string text("a\"\\/\n\x01\x7f\xff\0b", 10);
    std::vector<bool> bits = {true, false};
    Array<unsigned char> bytes;
    std::vector<std::string> texts = {std::string("a\0b", 3), ""};
    std::vector<float> reals = {0.5f, infinite};
    RefPtr<Object> null;
    WeakPtr<Object> weak;
    Array<RefPtr<Object>> nulls;
    nulls.resize(2);
    Array<Waypoint> waypoints;
    waypoints.emplace_back(Waypoint{1, {2}});
    waypoints.emplace_back(Waypoint());
    Array<Waypoint> noWaypoints;
    Array<bool> flags;
    flags.emplace_back(true);
    flags.emplace_back(false);
    unsigned int size = 0;
    const struct {
        std::function<void(Archive&)> write;
        const char* root;
    } cases[] = {
        {[&](Archive&) {}, "{}"},
        {[&](Archive& a) { a.SerializeBool("b", yes).SerializeInt8("i", int8); },
         R"({"b":true,"i":-128})"},
        {[&](Archive& a) { a.SerializeUInt8("u8", uint8).SerializeInt16("i16", int16); },
         R"({"u8":255,"i16":-32768})"},
        {[&](Archive& a) { a.SerializeUInt16("u16", uint16).SerializeInt32("i32", int32); },
         R"({"u16":65535,"i32":-2147483648})"},
        {[&](Archive& a) { a.SerializeUInt32("u32", uint32).SerializeInt64("i64", low); },
         R"({"u32":4294967295,"i64":-9223372036854775808})"},
        {[&](Archive& a) { a.SerializeUInt64("u64", high).SerializeFloat("f", tenth); },
         R"({"u64":18446744073709551615,"f":0.10000000149011612})"},
        {[&](Archive& a) { a.SerializeDouble("d", real).SerializeDouble("n", none); },
         R"({"d":-0.0,"n":NaN})"},
        {[&](Archive& a) { a.SerializeFloat("i", infinite); }, R"({"i":-Infinity})"},
        {[&](Archive& a) { a.SerializeString("s", text); },
         "{\"s\":\"a\\\"\\\\/\\n\\u0001\x7f\xff\"}"},
        {[&](Archive& a) { a.SerializeString("", text); },
         "{\"\":\"a\\\"\\\\/\\n\\u0001\x7f\xff\"}"},
        {[&](Archive& a) { a.SerializeBool(StringView("q\"\t\0z", 5), yes); }, R"({"q\"\t":true})"},
        {[&](Archive& a) { a.SerializeBoolArray("b", bits).SerializeUInt8Array("u", bytes); },
         R"({"b":[true,false],"u":[]})"},
        {[&](Archive& a) { a.SerializeStringArray("s", texts).SerializeFloatArray("f", reals); },
         R"({"s":["a",""],"f":[0.5,-Infinity]})"},
        {[&](Archive& a) { a.SerializeObject("o", null).SerializeObject("w", weak); },
         R"({"o":null,"w":null})"},
        {[&](Archive& a) { a.SerializeObjectArray("l", nulls); }, R"({"l":[null,null]})"},
        {[&](Archive& a) { a.Serialize("w", waypoints).Serialize("n", noWaypoints); },
         R"({"w":[{"id":1,"at":[2.0]},{"id":0,"at":[]}],"n":[]})"},
        {[&](Archive& a) { a.Serialize("f", flags).Serialize("b", yes); },
         R"({"f":[true,false],"b":true})"},
        {[&](Archive& a) {
             a.BeginObject("o");
             a.BeginArray("l", size);
             a.GetArrayElement(0);
             a.BeginObject("p");
             a.EndObject("p");
             a.ReleaseArrayElement();
             a.EndArray("l");
             a.EndObject("o");
         },
         R"({"o":{"l":[{"p":{}}]}})"},
        {[&](Archive& a) { a.SerializeBool("b", yes).SerializeInt8("", int8); }, "-128"},
    };
    for (const auto& c : cases) {
        JsonOutputArchive archive({});
        c.write(archive);
        EXPECT_EQ(TextOf(archive), Document(c.root));
        EXPECT_EQ(TextOf(archive), Document(c.root));
    }
    EXPECT_THAT(log.Take(), IsEmpty());
}

// Calls that fit no scope: what is left is a document all the same.
TEST_F(JsonArchiveTest, MisplacedCallsAreReportedAndDropped) {
    int one = 1;
    unsigned int size = 0;
    const struct {
        std::function<void(Archive&)> write;
        const char* root;
        int reports;
    } cases[] = {
        {[&](Archive& a) { a.EndObject("o"); }, "{}", 1},
        {[&](Archive& a) {
             a.GetArrayElement(0);
             a.ReleaseArrayElement();
             a.SerializeInt32("i", one);
         },
         R"({"i":1})", 1},
        {[&](Archive& a) { a.BeginObject("o"), a.SerializeInt32("i", one); }, R"({"i":1})", 0},
        {[&](Archive& a) {
             a.BeginObject("o");
             a.SerializeInt32("i", one);
             a.EndObject("other");
         },
         R"({"other":{"i":1}})", 0},
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
         },
         R"({"i":1})", 1},
    };
    for (const auto& c : cases) {
        JsonOutputArchive archive({});
        c.write(archive);
        EXPECT_EQ(TextOf(archive), Document(c.root));
        EXPECT_THAT(log.Take(), SizeIs(c.reports)) << c.root;
    }
}

TEST_F(JsonArchiveTest, NumbersComeBackBitForBitInTheShortestText) {
    const unsigned seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937_64 random(seed);
    std::vector<double> doubles = {0.0,
                                   -0.0,
                                   0.1,
                                   5e-324,
                                   2.2250738585072014e-308,
                                   2.225073858507201e-308,
                                   std::numeric_limits<double>::max(),
                                   std::numeric_limits<double>::lowest(),
                                   std::numeric_limits<double>::infinity(),
                                   std::nan("")};
    std::vector<float> floats = {0.0f,
                                 -0.0f,
                                 1e-45f,
                                 std::numeric_limits<float>::min(),
                                 std::numeric_limits<float>::max(),
                                 std::numeric_limits<float>::lowest()};
    while (doubles.size() < 100000) {
        const uint64 bits = random();
        double real = 0;
        std::memcpy(&real, &bits, sizeof(real));
        if (std::isfinite(real))
            doubles.push_back(real);
    }
    while (floats.size() < 100000) {
        const auto bits = static_cast<uint32>(random());
        float real = 0;
        std::memcpy(&real, &bits, sizeof(real));
        if (std::isfinite(real))
            floats.push_back(real);
    }
    rapidjson::StringBuffer expected;
    Writer writer(expected);
    writer.StartArray();
    for (double real : doubles)
        writer.Double(real);
    writer.EndArray();
    JsonOutputArchive output({});

    output.SerializeDoubleArray("d", doubles).SerializeFloatArray("f", floats);

    const std::string text = TextOf(output);
    EXPECT_THAT(text, HasSubstr(std::string("\"d\":") + expected.GetString()));
    JsonInputArchive input({});
    input.FromString(text);
    std::vector<double> readDoubles;
    std::vector<float> readFloats;
    input.SerializeDoubleArray("d", readDoubles).SerializeFloatArray("f", readFloats);
    ASSERT_EQ(readDoubles.size(), doubles.size());
    ASSERT_EQ(readFloats.size(), floats.size());
    EXPECT_EQ(std::memcmp(readDoubles.data(), doubles.data(), doubles.size() * sizeof(double)), 0);
    EXPECT_EQ(std::memcmp(readFloats.data(), floats.data(), floats.size() * sizeof(float)), 0);
}

// Texts of numbers that no writer of ours makes.
TEST_F(JsonArchiveTest, ForeignNumbersReadAsTheNearestDouble) {
    const std::string zeros(400, '0');
    const std::string digits = "1" + std::string(800, '7');
    for (const std::string& text :
         {std::string("0e300"), std::string("0.0e-999999999999"), std::string("1e-400"),
          std::string("-1e-400"), std::string("0.1E+1"), std::string("2.4703282292062328e-324"),
          "0." + zeros + "1e401", "1" + std::string(300, '0') + ".5e-250", "0." + digits,
          digits.substr(0, 300) + "e8", std::string("1e-99999999999999999999"),
          "0." + zeros + "1e-2147483647"}) {
        JsonInputArchive input({});
        double real = 7;
        SCOPED_TRACE(text);
        ASSERT_NO_THROW(input.FromString(Document("{\"d\":" + text + "}")));
        input.SerializeDouble("d", real);
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
            c = random() % 8 == 0 ? static_cast<char>(random())
                                  : static_cast<char>('a' + random() % 26);
        text = text.c_str();
        rapidjson::StringBuffer expected;
        Writer writer(expected);
        writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
        JsonOutputArchive archive({});

        archive.SerializeString("s", text);

        const std::string document = TextOf(archive);
        EXPECT_EQ(document, Document(std::string("{\"s\":") + expected.GetString() + "}"));
        JsonInputArchive input({});
        std::string read;
        input.FromString(document);
        input.SerializeString("s", read);
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
    JsonOutputArchive archive({});

    archive.SerializeObject("o", object);

    EXPECT_EQ(WithoutIds(during), Document(R"({"i":1})", R"("#1":{})"));
    EXPECT_EQ(
        WithoutIds(TextOf(archive)),
        Document(R"({"o":{"INSTANCE_ID":#1,"KIV_TYPE_NAME":"Sample\"Script","IS_REFERENCE":true}})",
                 R"("#1":{"i":1,"j":1,"INSTANCE_ID":#1,"KIV_TYPE_NAME":"Sample\"Script"})"));
}

TEST_F(JsonArchiveTest, TemporaryObjectsKeepTheirIdsApart) {
    JsonOutputArchive archive({});
    for (int i = 0; i < 3; ++i) {
        RefPtr<Object> object = MakeRefCounted<SampleNode>();
        archive.SerializeObject(std::to_string(i), object);
    }
    const std::string text = WithoutIds(TextOf(archive));
    EXPECT_THAT(text, HasSubstr(R"("#3":{"count")"));
    EXPECT_THAT(SampleNode::living, SizeIs(3));
}

TEST_F(JsonArchiveTest, WeakReferenceBringsNothingAlong) {
    auto node = MakeRefCounted<SampleNode>();
    auto* const flag = new detail::WeakPtrFlag;
    WeakPtr<Object> weak(node.get(), flag);
    Array<WeakPtr<Object>> list;
    list.emplace_back(weak);
    list.emplace_back(WeakPtr<Object>());
    JsonOutputArchive archive({});

    archive.SerializeObject("w", weak).SerializeObjectArray("l", list);

    const std::string reference =
        R"({"INSTANCE_ID":#1,"KIV_TYPE_NAME":"SampleNode","IS_REFERENCE":true})";
    EXPECT_EQ(WithoutIds(TextOf(archive)),
              Document("{\"w\":" + reference + ",\"l\":[" + reference + ",null]}"));
    EXPECT_EQ(WithoutIds(archive.GetDisplayJson("w", "")),
              R"({"IS_REFERENCE":true,"INSTANCE_ID":#1})");
    JsonInputArchive input({});
    input.FromString(TextOf(archive));
    input.SerializeObject("w", weak).SerializeObjectArray("l", list);
    EXPECT_EQ(weak.get(), node.get());
    flag->Invalidate();
    flag->Release();
}

TEST_F(JsonArchiveTest, FieldsAreFoundInAnyOrderAndMissedWithAWarning) {
    JsonInputArchive input({});
    input.FromString(
        Document(R"({"w":{"at":[1,2.5]},"n":{"id":7,"at":[],"id":8},"l":[{"id":3},{}]})"));
    Waypoint waypoint{5, {9}};
    Waypoint other{5, {9}};
    Waypoint absent{5, {9}};
    Array<Waypoint> list;
    list.resize(5);
    Array<Waypoint> absentList = list;

    input.Serialize("n", other).Serialize("w", waypoint).Serialize("x", absent);
    input.Serialize("l", list).Serialize("n", absentList);

    EXPECT_EQ(waypoint.id, 5);
    EXPECT_THAT(waypoint.at, ElementsAre(1, 2.5));
    EXPECT_EQ(other.id, 7);
    EXPECT_THAT(other.at, IsEmpty());
    EXPECT_EQ(absent.id, 5);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0].id, 3);
    EXPECT_EQ(absentList.size(), 5u);
    std::vector<std::string> texts;
    for (const LogLine& line : log.Take()) {
        EXPECT_EQ(line.level, LogLevel::Warn);
        texts.push_back(line.payload.substr(line.payload.find("[tag:")));
    }
    const std::string missing =
        "[tag:RapidjsonHelper]Failed to deserialize: Node does not have member ";
    EXPECT_THAT(texts,
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
    JsonInputArchive input({});
    input.FromString(Document(R"({"i":1})"));
    int one = 0;

    input.EndObject("o");
    input.ReleaseArrayElement();
    input.SerializeInt32("i", one);

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
    const std::string node = R"({"count":{"type":"int","value":5},"KIV_TYPE_NAME":"SampleNode"})";
    const struct {
        const char* key;
        uint64 id;
    } cases[] = {{"7", 7},
                 {"007", 7},
                 {" \\t7", 7},
                 {"+7", 7},
                 {"7x", 7},
                 {"0", 0},
                 {"-1", std::numeric_limits<uint64>::max()},
                 {"18446744073709551615", std::numeric_limits<uint64>::max()}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.key);
        JsonInputArchive input({});
        RefPtr<SampleNode> read;
        input.FromString(
            Document("{\"o\":{\"INSTANCE_ID\":" + std::to_string(c.id) + "}}",
                     R"("7":{"KIV_TYPE_NAME":5},)" + ("\"" + std::string(c.key) + "\":" + node)));
        input.Serialize<SampleNode>("o", read);
        ASSERT_TRUE(read);
        EXPECT_EQ(read->count, 5);
    }
    for (const char* key : {"", "x", "-", "\\u0000"}) {
        JsonInputArchive input({});
        EXPECT_THROW(input.FromString(Document("{}", "\"" + std::string(key) + "\":{}")),
                     std::invalid_argument)
            << key;
    }
    JsonInputArchive input({});
    EXPECT_THROW(input.FromString(Document("{}", R"("18446744073709551616":{})")),
                 std::out_of_range);
}

TEST_F(JsonArchiveTest, ReferencesThatLeadNowhereAreLogged) {
    const std::string notFound = "[domain:kiv.base]Object not found in the map. ID: ";
    const std::string reference = "[domain:kiv.base][tag:JsonInputArchive::SerializeObject]";
    const std::string create = "[domain:kiv.base][tag:JsonArchive::CreateObjectByID]";
    const struct {
        const char* node;
        std::vector<std::string> texts;
    } cases[] = {
        {"null", {}},
        {"5", {}},
        {R"({"INSTANCE_ID":18446744073709551615,"KIV_TYPE_NAME":"T"})",
         {notFound + "18446744073709551615",
          reference + "Object can't be created. ID: 18446744073709551615, TypeName: T"}},
        {R"({"KIV_TYPE_NAME":5})", {reference + "Object can't be created. ID: 0, TypeName: "}},
        {R"({"INSTANCE_ID":-1})", {reference + "Object can't be created. ID: 0, TypeName: "}},
        {R"({"INSTANCE_ID":1.0})", {reference + "Object can't be created. ID: 0, TypeName: "}},
        {R"({"INSTANCE_ID":"1"})", {reference + "Object can't be created. ID: 0, TypeName: "}},
        {R"({"INSTANCE_ID":1})", {create + "Can't find object type: Unknown. Please regester it."}},
        {R"({"INSTANCE_ID":2})", {create + "Object type Object can't be created."}},
        {R"({"INSTANCE_ID":3})", {create + "Can't find object type: . Please regester it."}},
        {R"({"INSTANCE_ID":4})", {create + "Can't find object type: . Please regester it."}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.node);
        JsonInputArchive input({});
        input.FromString(
            Document("{\"o\":" + std::string(c.node) + ",\"l\":[" + c.node + ",null]}",
                     R"("1":{"KIV_TYPE_NAME":"Unknown"},"2":{"KIV_TYPE_NAME":"Object"},)"
                     R"("3":{"KIV_TYPE_NAME":[]},"4":[])"));
        RefPtr<SampleNode> object = MakeRefCounted<SampleNode>();
        input.Serialize<SampleNode>("o", object);
        EXPECT_FALSE(object);
        std::vector<std::string> texts;
        for (const LogLine& line : log.Take()) {
            EXPECT_EQ(line.level, LogLevel::Error);
            texts.push_back(line.payload);
        }
        EXPECT_EQ(texts, c.texts);

        // A type that can't be made is remembered, and stands as null in a list; a reference
        // without an object is reported again, and left out.
        Array<RefPtr<Object>> list;
        input.SerializeObjectArray("l", list);
        const bool remembered = !texts.empty() && texts[0].starts_with(create);
        const bool null = c.node == std::string("null");
        EXPECT_EQ(list.size(), remembered || null ? 2u : 1u);
        EXPECT_EQ(log.Take().size(),
                  remembered || null ? 0 : std::max<std::size_t>(texts.size(), 1));
    }
}

}  // namespace
}  // namespace kiv
