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

namespace kiv {
namespace {

using testing::Document;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::SampleNode;
using testing::SampleScript;
using ::testing::SizeIs;

void CollectNodes(rapidjson::Value& node, std::vector<rapidjson::Value*>& nodes) {
    nodes.push_back(&node);
    // By index: the comparison of member iterators that are not const is ambiguous to Clang.
    if (node.IsObject())
        for (rapidjson::SizeType i = 0; i < node.MemberCount(); ++i)
            CollectNodes(node.MemberBegin()[static_cast<std::ptrdiff_t>(i)].value, nodes);
    if (node.IsArray())
        for (auto& element : node.GetArray())
            CollectNodes(element, nodes);
}

class JsonDamageTest : public testing::ObjectTest {
protected:
    JsonDamageTest() {
        JsonSerializer serializer({});
        EXPECT_TRUE(serializer.Serialize(testing::MakeTangle()));
        SampleNode::CutAll();
        good_ = serializer.GetSerializeString(nullptr);
    }

    // Reads the text, and shows what was read and how a reader has it. After a failure nothing may
    // be left of it.
    static bool Read(const std::string& text) {
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

    // Damages a copy of the good document at each of its nodes in turn, and reads it.
    template <class Damage>
    void ReadDamaged(Damage damage) {
        for (std::size_t place = 0, count = 1; place < count; ++place) {
            rapidjson::Document damaged;
            damaged.Parse(good_.c_str());
            std::vector<rapidjson::Value*> nodes;
            CollectNodes(damaged, nodes);
            count = nodes.size();
            damage(*nodes[place], damaged.GetAllocator());
            rapidjson::StringBuffer text;
            rapidjson::Writer<rapidjson::StringBuffer> writer(text);
            damaged.Accept(writer);
            SCOPED_TRACE(text.GetString());
            ++(Read(text.GetString()) ? succeeded_ : failed_);
            try {
                JsonInputArchive archive({});
                archive.FromString(text.GetString());
                EXPECT_NE(archive.GetDisplayJson("", ""), "");
                archive.GetDisplayJson("Object", "next");
            } catch (const std::exception&) {
            }
        }
    }

    std::string good_;
    int succeeded_ = 0;
    int failed_ = 0;
};

TEST_F(JsonDamageTest, EveryTruncationFails) {
    ASSERT_TRUE(Read(good_));
    for (std::size_t size = 0; size < good_.size(); ++size) {
        log.Take();
        EXPECT_FALSE(Read(good_.substr(0, size))) << size;
        EXPECT_THAT(log.Take(), SizeIs(2)) << size;
    }
}

// NaN and the infinities are left out: the package takes more there than their names, such as
// "NInf".
TEST_F(JsonDamageTest, ParseErrorsAreThoseOfRapidjson) {
    const std::string good =
        R"({"JSON_ARCHIVE":5,"a":[-0,1.5e+3,)"
        R"(-2E-7,true,false,null,"\"\\\/\b\f\n\r\t\u00e9\ud83d\ude00"], "b" :{}})";
    const char alphabet[] = "{}[]\",:\\/ubfnrtNaInity0123456789+-.eE \t\n\x01\x7f\xc3";
    const unsigned seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    int errors = 0;
    for (int round = 0; round < 20000; ++round) {
        std::string text = good;
        for (unsigned changes = 1 + random() % 3; changes > 0; --changes) {
            // One character replaced, added or taken away.
            const unsigned way = random() % 3;
            text.replace(random() % text.size(), way == 1 ? 0 : 1, way == 2 ? 0 : 1,
                         alphabet[random() % (sizeof(alphabet) - 1)]);
        }
        rapidjson::Document expected;
        expected.Parse<rapidjson::kParseNanAndInfFlag>(text.c_str());
        try {
            JsonInputArchive({}).FromString(text);
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

TEST_F(JsonDamageTest, EveryKindInEveryPlaceIsReadOrRefused) {
    rapidjson::Document document;
    document.Parse(good_.c_str());
    const std::string id =
        document["JSON_ARCHIVE"]["KIV_ARCHIVE_OBJECT_MAP"].MemberBegin()->name.GetString();
    for (const std::string& kind : std::vector<std::string>{
             "null", "true", "5", "-1", id, "18446744073709551615", "1.5", "\"x\"",
             "\"SampleNode\"", "\"class kiv::Vector3f\"",
             "\"class kiv::Array<class kiv::RefPtr<X> >\"", "[]", "{}", "[[{}]]",
             "{\"INSTANCE_ID\":" + id + "}", "{\"INSTANCE_ID\":" + id + ",\"IS_REFERENCE\":[]}",
             R"({"INSTANCE_ID":"x","KIV_TYPE_NAME":{},"IS_REFERENCE":1})"}) {
        rapidjson::Document replacement;
        replacement.Parse(kind.c_str());
        ReadDamaged([&](rapidjson::Value& node, auto& allocator) {
            node.CopyFrom(replacement, allocator);
        });
    }
    EXPECT_GT(succeeded_, 0);
    EXPECT_GT(failed_, 0);
}

TEST_F(JsonDamageTest, MembersMayBeMissingOrDoubled) {
    for (unsigned member = 0; member < 6; ++member)
        for (const bool doubled : {false, true})
            ReadDamaged([&](rapidjson::Value& node, auto& allocator) {
                if (!node.IsObject() || member >= node.MemberCount())
                    return;
                const auto victim = node.MemberBegin() + member;
                if (doubled)
                    node.AddMember(rapidjson::Value(victim->name, allocator),
                                   rapidjson::Value(victim->value, allocator), allocator);
                else
                    node.EraseMember(victim);
            });
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
    archive.FromString(Document(R"({"a":{"INSTANCE_ID":1},"b":{"INSTANCE_ID":3}})",
                                R"("1":{"r":{"INSTANCE_ID":2},"KIV_TYPE_NAME":"Sample\"Script"},)"
                                R"("2":{"r":null,"KIV_TYPE_NAME":"Sample\"Script"},)"
                                R"("3":{"r":{"INSTANCE_ID":1},"KIV_TYPE_NAME":"Sample\"Script"})"));

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

TEST_F(JsonDamageTest, ObjectsThatStandForAPlainValueKeepTheirEntry) {
    SampleScript::body = [](SampleScript&, Archive& archive) {
        int one = 1;
        archive.SerializeInt32("", one);
    };
    RefPtr<Object> object = MakeRefCounted<SampleScript>();
    EXPECT_THAT(testing::WithoutIds(testing::JsonForm::Written(
                    [&](Archive& archive) { archive.SerializeObject("o", object); })),
                HasSubstr(R"({"#1":{"INSTANCE_ID":#1,"KIV_TYPE_NAME":"Sample\"Script"}})"));
    EXPECT_THAT(log.Take(), SizeIs(1));
}

// Forty levels of two references to the next level: 2 to the power of 40 places to print.
TEST_F(JsonDamageTest, DisplayFormOfSharedObjectsStaysBounded) {
    auto top = MakeRefCounted<SampleNode>();
    for (int level = 0; level < 40; ++level) {
        auto above = MakeRefCounted<SampleNode>();
        above->others = {top, top};
        top = above;
    }
    const std::string text = JsonSerializer({}).GetDisplayString(top, nullptr);
    EXPECT_GT(text.size(), 1000000u);
    EXPECT_LT(text.size(), 4000000u);
    EXPECT_THAT(text, HasSubstr(R"("KIV_TYPE_NAME":"SampleNode","IS_REFERENCE":true})"));
    rapidjson::Document document;
    EXPECT_FALSE(document.Parse(text.c_str()).HasParseError());
}

}  // namespace
}  // namespace kiv
