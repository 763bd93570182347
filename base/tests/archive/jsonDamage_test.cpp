// What a JSON archive does with documents that nobody vouched for.
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "archive/sampleObjects.h"
#include "kiv/base/archiveTypes.h"
#include "kiv/base/jsonArchive.h"
#include "kiv/base/jsonSerializer.h"
#include "support/logCatcher.h"

namespace kiv {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::LogCatcher;
using testing::SampleNode;
using testing::SampleScript;
using ::testing::SizeIs;

std::string GoodDocument() {
    JsonSerializer serializer({});
    EXPECT_TRUE(serializer.Serialize(testing::MakeTangle()));
    SampleNode::CutAll();
    return serializer.GetSerializeString(nullptr);
}

class JsonDamageTest : public ::testing::Test {
protected:
    ~JsonDamageTest() override { EXPECT_THAT(SampleNode::living, IsEmpty()); }

    // Reads the text, and shows what was read. After a failure nothing may be left of it.
    bool Read(const std::string& text) {
        JsonSerializer serializer({});
        serializer.SetSerializeString(text);
        Status status;
        {
            const RefPtr<Object> object = serializer.Deserialize("", &status);
            EXPECT_TRUE(status || SampleNode::living.empty());
            EXPECT_TRUE(!object || serializer.GetDisplayString(object, nullptr) != "");
        }
        SampleNode::CutAll();
        EXPECT_THAT(SampleNode::living, IsEmpty());
        return static_cast<bool>(status);
    }
    // The display form of the archive document itself, as a reader has it.
    static void Display(const std::string& text) {
        JsonInputArchive archive({});
        try {
            archive.FromString(text);
        } catch (const std::exception&) {
            return;
        }
        EXPECT_NE(archive.GetDisplayJson("", ""), "");
        archive.GetDisplayJson("Object", "next");
    }

    LogCatcher log;
};

TEST_F(JsonDamageTest, EveryTruncationFails) {
    const std::string good = GoodDocument();
    ASSERT_TRUE(Read(good));
    for (std::size_t size = 0; size < good.size(); ++size) {
        log.Take();
        EXPECT_FALSE(Read(good.substr(0, size))) << size;
        EXPECT_THAT(log.Take(), SizeIs(2)) << size;
    }
}

// NaN and the infinities are left out: the package takes more there than their names, such as
// "NInf".
TEST_F(JsonDamageTest, ParseErrorsAreThoseOfRapidjson) {
    const std::string extra =
        R"({"JSON_ARCHIVE":5,"a":[-0,1.5e+3,)"
        R"(-2E-7,true,false,null,"\"\\\/\b\f\n\r\t\u00e9\ud83d\ude00"], "b" :{}})";
    const char alphabet[] = "{}[]\",:\\/ubfnrtNaInity0123456789+-.eE \t\n\x01\x7f\xc3";
    const unsigned seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    int errors = 0;
    for (int round = 0; round < 20000; ++round) {
        std::string text = extra;
        for (unsigned changes = 1 + random() % 3; changes > 0; --changes) {
            const std::size_t at = random() % text.size();
            const char c = alphabet[random() % (sizeof(alphabet) - 1)];
            switch (random() % 3) {
                case 0:
                    text[at] = c;
                    break;
                case 1:
                    text.insert(at, 1, c);
                    break;
                default:
                    text.erase(at, 1);
            }
        }
        rapidjson::Document expected;
        expected.Parse<rapidjson::kParseNanAndInfFlag>(text.c_str());
        JsonInputArchive archive({});
        try {
            archive.FromString(text);
        } catch (const std::runtime_error&) {
        }
        const auto lines = log.Take();
        const int code = expected.GetParseError();
        errors += code != 0;
        EXPECT_EQ(lines.size(), code == 0 ? 0u : 1u) << text;
        for (const testing::LogLine& line : lines)
            EXPECT_THAT(line.payload, HasSubstr("Json parse error: " + std::to_string(code) + ","));
    }
    EXPECT_GT(errors, 1000);
}

// Calls `visit` for each node of the tree.
template <class Visit>
void ForEachNode(rapidjson::Value& node, Visit visit) {
    visit(node);
    // By index: the comparison of member iterators that are not const is ambiguous to Clang.
    if (node.IsObject())
        for (rapidjson::SizeType i = 0; i < node.MemberCount(); ++i)
            ForEachNode(node.MemberBegin()[static_cast<std::ptrdiff_t>(i)].value, visit);
    if (node.IsArray())
        for (auto& element : node.GetArray())
            ForEachNode(element, visit);
}

std::string TextOf(const rapidjson::Value& node) {
    rapidjson::StringBuffer text;
    rapidjson::Writer<rapidjson::StringBuffer> writer(text);
    node.Accept(writer);
    return text.GetString();
}

TEST_F(JsonDamageTest, EveryKindInEveryPlaceIsReadOrRefused) {
    rapidjson::Document document;
    document.Parse(GoodDocument().c_str());
    const auto& map = document["JSON_ARCHIVE"]["KIV_ARCHIVE_OBJECT_MAP"];
    const std::string id = map.MemberBegin()->name.GetString();
    int succeeded = 0;
    int failed = 0;
    for (const std::string& kind :
         {std::string("null"), std::string("true"), std::string("5"), std::string("-1"), id,
          std::string("18446744073709551615"), std::string("1.5"), std::string("\"x\""),
          std::string("\"SampleNode\""), std::string("\"class kiv::Vector3f\""),
          std::string("\"class kiv::Array<class kiv::RefPtr<X> >\""), std::string("[]"),
          std::string("{}"), std::string("[[{}]]"), "{\"INSTANCE_ID\":" + id + "}",
          "{\"INSTANCE_ID\":" + id + ",\"IS_REFERENCE\":[]}",
          std::string("{\"INSTANCE_ID\":\"x\",\"KIV_TYPE_NAME\":{},\"IS_REFERENCE\":1}")}) {
        rapidjson::Document replacement;
        replacement.Parse(kind.c_str());
        int count = 0;
        ForEachNode(document, [&count](rapidjson::Value&) { ++count; });
        for (int place = 0; place < count; ++place) {
            rapidjson::Document damaged;
            damaged.CopyFrom(document, damaged.GetAllocator());
            int at = 0;
            rapidjson::Value* victim = nullptr;
            ForEachNode(damaged, [&](rapidjson::Value& node) {
                if (at++ == place)
                    victim = &node;
            });
            victim->CopyFrom(replacement, damaged.GetAllocator());
            const std::string text = TextOf(damaged);
            SCOPED_TRACE(text);
            ++(Read(text) ? succeeded : failed);
            Display(text);
        }
    }
    EXPECT_GT(succeeded, 0);
    EXPECT_GT(failed, 0);
}

TEST_F(JsonDamageTest, MembersMayBeMissingOrDoubled) {
    rapidjson::Document document;
    document.Parse(GoodDocument().c_str());
    int objects = 0;
    ForEachNode(document, [&objects](rapidjson::Value& node) { objects += node.IsObject(); });
    for (int place = 0; place < objects; ++place)
        for (unsigned member = 0; member < 6; ++member)
            for (const bool doubled : {false, true}) {
                rapidjson::Document damaged;
                auto& allocator = damaged.GetAllocator();
                damaged.CopyFrom(document, allocator);
                int at = 0;
                ForEachNode(damaged, [&](rapidjson::Value& node) {
                    if (!node.IsObject() || at++ != place || member >= node.MemberCount())
                        return;
                    const auto victim = node.MemberBegin() + member;
                    if (doubled)
                        node.AddMember(rapidjson::Value(victim->name, allocator),
                                       rapidjson::Value(victim->value, allocator), allocator);
                    else
                        node.EraseMember(victim);
                });
                const std::string text = TextOf(damaged);
                SCOPED_TRACE(text);
                Read(text);
                Display(text);
            }
}

// A ring of two objects that say themselves what they read, the second of which fails.
constexpr char kRing[] =
    R"({"JSON_ARCHIVE":{"KIV_ARCHIVE_OBJECT":{"Object":{"INSTANCE_ID":1}},"KIV_ARCHIVE_OBJECT_MAP":{)"
    R"("1":{"r":{"INSTANCE_ID":2},"KIV_TYPE_NAME":"Sample\"Script"},)"
    R"("2":{"r":{"INSTANCE_ID":1},"bad":"x","KIV_TYPE_NAME":"Sample\"Script"}}}})";

TEST_F(JsonDamageTest, FailedReadLeavesNoHalfBuiltRing) {
    SampleScript::body = [](SampleScript& self, Archive& archive) {
        int bad = 0;
        self.reference = nullptr;
        archive.SerializeObject("r", self.reference);
        archive.SerializeInt32("bad", bad);
    };
    JsonSerializer serializer({});
    serializer.SetSerializeString(kRing);
    Status status;

    EXPECT_FALSE(serializer.Deserialize("", &status));

    EXPECT_EQ(status, Status::Failure);
    EXPECT_EQ(SampleScript::alive, 0);
}

TEST_F(JsonDamageTest, FailedReadLeavesAloneWhatWasReadBefore) {
    bool failing = false;
    SampleScript::body = [&failing](SampleScript& self, Archive& archive) {
        archive.SerializeObject("r", self.reference);
        if (failing)
            throw std::runtime_error("failing");
    };
    RefPtr<SampleScript> first;
    RefPtr<SampleScript> second;
    JsonInputArchive archive({});
    archive.FromString(
        R"({"JSON_ARCHIVE":{"KIV_ARCHIVE_OBJECT":{"a":{"INSTANCE_ID":1},"b":{"INSTANCE_ID":3}},)"
        R"("KIV_ARCHIVE_OBJECT_MAP":{"1":{"r":{"INSTANCE_ID":2},"KIV_TYPE_NAME":"Sample\"Script"},)"
        R"("2":{"r":null,"KIV_TYPE_NAME":"Sample\"Script"},)"
        R"("3":{"r":{"INSTANCE_ID":1},"KIV_TYPE_NAME":"Sample\"Script"}}}})");

    archive.Serialize<SampleScript>("a", first);
    failing = true;
    EXPECT_THROW(archive.Serialize<SampleScript>("b", second), std::runtime_error);
    ASSERT_TRUE(first);
    EXPECT_TRUE(first->reference);

    // The archive stays usable, and knows nothing of the failed attempt.
    failing = false;
    archive.Serialize<SampleScript>("b", second);
    ASSERT_TRUE(second);
    EXPECT_EQ(second->reference, first);
}

TEST_F(JsonDamageTest, FailedWriteOfAnObjectLeavesNoTrace) {
    SampleScript::body = [](SampleScript&, Archive& archive) {
        int one = 1;
        archive.SerializeInt32("i", one);
        archive.BeginObject("open");
        throw std::runtime_error("failing");
    };
    RefPtr<Object> object = MakeRefCounted<SampleScript>();
    JsonOutputArchive archive({});
    int one = 1;

    archive.SerializeInt32("a", one);
    EXPECT_THROW(archive.SerializeObject("o", object), std::runtime_error);
    archive.SerializeInt32("b", one);

    std::string text;
    archive.ToString(text);
    EXPECT_EQ(
        text,
        R"({"JSON_ARCHIVE":{"KIV_ARCHIVE_OBJECT":{"a":1,"b":1},"KIV_ARCHIVE_OBJECT_MAP":{}}})");
}

TEST_F(JsonDamageTest, ObjectsThatStandForAPlainValueKeepTheirEntry) {
    SampleScript::body = [](SampleScript&, Archive& archive) {
        int one = 1;
        archive.SerializeInt32("", one);
    };
    RefPtr<Object> object = MakeRefCounted<SampleScript>();
    JsonOutputArchive archive({});

    archive.SerializeObject("o", object);

    std::string text;
    archive.ToString(text);
    EXPECT_THAT(log.Take(), SizeIs(1));
    EXPECT_THAT(testing::WithoutIds(text),
                HasSubstr(R"({"#1":{"INSTANCE_ID":#1,"KIV_TYPE_NAME":"Sample\"Script"}})"));
}

// Forty levels of two references to the next level: 2 to the power of 40 places to print.
TEST_F(JsonDamageTest, DisplayFormOfSharedObjectsStaysBounded) {
    RefPtr<SampleNode> top = MakeRefCounted<SampleNode>();
    for (int level = 0; level < 40; ++level) {
        auto above = MakeRefCounted<SampleNode>();
        above->others.emplace_back(top);
        above->others.emplace_back(top);
        top = above;
    }
    JsonSerializer serializer({});
    Status status;

    const std::string text = serializer.GetDisplayString(top, &status);

    EXPECT_TRUE(status);
    EXPECT_GT(text.size(), 1000000u);
    EXPECT_LT(text.size(), 4000000u);
    EXPECT_THAT(text, HasSubstr(R"("KIV_TYPE_NAME":"SampleNode","IS_REFERENCE":true})"));
    rapidjson::Document document;
    EXPECT_FALSE(document.Parse(text.c_str()).HasParseError());
    SampleNode::CutAll();
}

}  // namespace
}  // namespace kiv
