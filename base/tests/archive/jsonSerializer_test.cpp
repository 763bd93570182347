#include "kiv/base/jsonSerializer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "archive/sampleObjects.h"
#include "kiv/base/archiveTypes.h"
#include "kiv/base/timePoint.h"
#include "support/logCatcher.h"

namespace kiv {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::LogCatcher;
using testing::LogLine;
using testing::SampleNode;
using testing::SampleScript;
using testing::WithoutIds;

constexpr char kString[] =
    "class std::basic_string<char,struct std::char_traits<char>,class std::allocator<char> >";

// The contents of a node, up to its id and type.
std::string Contents(int count, const std::string& title, const std::string& next,
                     const std::string& others) {
    return R"("count":{"type":"int","value":)" + std::to_string(count) + R"(},"title":{"type":")" +
           kString + R"(","value":")" + title +
           R"("},"next":{"type":"class kiv::RefPtr<class kiv::testing::SampleNode>","value":)" +
           next +
           R"(},"others":{"type":"class kiv::Array<class kiv::RefPtr<class )"
           R"(kiv::testing::SampleNode> >","value":)" +
           others + "}";
}

std::string Reference(const std::string& id) {
    return R"({"INSTANCE_ID":)" + id + R"(,"KIV_TYPE_NAME":"SampleNode","IS_REFERENCE":true})";
}

std::string Entry(const std::string& id, const std::string& contents) {
    return "\"" + id + "\":{" + contents + R"(,"INSTANCE_ID":)" + id +
           R"(,"KIV_TYPE_NAME":"SampleNode"})";
}

std::string Document(const std::string& root, const std::string& map) {
    return R"({"JSON_ARCHIVE":{"KIV_ARCHIVE_OBJECT":{"Object":)" + root +
           R"(},"KIV_ARCHIVE_OBJECT_MAP":{)" + map + "}}}";
}

class JsonSerializerTest : public ::testing::Test {
protected:
    ~JsonSerializerTest() override {
        SampleNode::CutAll();
        EXPECT_THAT(SampleNode::living, IsEmpty());
    }

    JsonSerializer serializer{{}};
    LogCatcher log;
};

LogLine Line(LogLevel level, const std::string& tag, const std::string& text) {
    return {level, "[domain:kiv.base]" + (tag.empty() ? "" : "[tag:" + tag + "]") + text};
}

TEST_F(JsonSerializerTest, GraphHasThisDocumentAndComesBackFromIt) {
    auto root = MakeRefCounted<SampleNode>();
    root->count = 5;
    root->title = "a \"title\"";
    root->next = MakeRefCounted<SampleNode>();
    root->next->next = root;
    root->others.emplace_back(root->next);
    root->others.emplace_back(RefPtr<SampleNode>());

    ASSERT_TRUE(serializer.Serialize(root));

    EXPECT_EQ(
        WithoutIds(serializer.GetSerializeString(nullptr)),
        Document(Reference("#1"), Entry("#2", Contents(0, "", Reference("#1"), "[]")) + "," +
                                      Entry("#1", Contents(5, R"(a \"title\")", Reference("#2"),
                                                           "[" + Reference("#2") + ",null]"))));

    Status status = Status::InvalidCast;
    const RefPtr<Object> read = serializer.Deserialize("", &status);
    ASSERT_TRUE(read && read->IsInstanceOf<SampleNode>());
    EXPECT_EQ(status, Status::InvalidCast);  // a success leaves it alone
    const auto& copy = static_cast<SampleNode&>(*read);
    EXPECT_NE(read, root);
    EXPECT_EQ(copy.count, 5);
    EXPECT_EQ(copy.title, "a \"title\"");
    ASSERT_TRUE(copy.next);
    EXPECT_EQ(copy.next->next, read);
    ASSERT_EQ(copy.others.size(), 2u);
    EXPECT_EQ(copy.others[0], copy.next);
    EXPECT_FALSE(copy.others[1]);
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST_F(JsonSerializerTest, NullAndMissingObjectsReadAsNull) {
    Status status = Status::InvalidCast;

    EXPECT_TRUE(serializer.Serialize(nullptr));
    EXPECT_EQ(serializer.GetSerializeString(nullptr), Document("null", ""));
    EXPECT_FALSE(serializer.Deserialize("", &status));
    EXPECT_THAT(log.Take(), IsEmpty());

    for (const char* text : {R"({"JSON_ARCHIVE":{}})", "{}", "[1]", "5"}) {
        serializer.SetSerializeString(text);
        EXPECT_FALSE(serializer.Deserialize("SampleNode", &status));
        EXPECT_THAT(log.Take(),
                    ElementsAre(Line(LogLevel::Warn, "JsonInputArchive::SerializeObject",
                                     "Object can't be created. Name: Object")));
    }
    EXPECT_EQ(status, Status::InvalidCast);
}

TEST_F(JsonSerializerTest, TextThatIsNoJsonFails) {
    const struct {
        const char* text;
        int code;
    } cases[] = {{"", 1},
                 {"{", 4},
                 {"{}}", 2},
                 {"[1,]", 3},
                 {"[\"a]", 11},
                 {"[1e309]", 13},
                 {"[17976931348623159e292]", 13},
                 {"nul", 3},
                 {"[Infinite]", 3},
                 {"[-NInf]", 3}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        serializer.SetSerializeString(c.text);
        Status status;

        EXPECT_FALSE(serializer.Deserialize("", &status));
        EXPECT_FALSE(serializer.Deserialize("", nullptr));

        EXPECT_EQ(status, Status::Failure);
        const LogLine parse =
            Line(LogLevel::Error, "JsonInputArchive",
                 "Json parse error: " + std::to_string(c.code) + ", string: " + c.text);
        const LogLine fail = Line(
            LogLevel::Error, "JsonSerializer",
            std::string("Deserialize failed: Json parse error, ") + "serialize string: " + c.text);
        EXPECT_THAT(log.Take(), ElementsAre(parse, fail, parse, fail));
    }
}

TEST_F(JsonSerializerTest, SimpleStringStandsUnquotedInTheDocument) {
    for (const char* json : {"[1,2]", "\"3D7A3C87E6F1E2C9D040A62C72EE9658\"", "", "no json"}) {
        serializer.SetSimpleSerializeString(json);
        EXPECT_EQ(serializer.GetSerializeString(nullptr),
                  std::string(R"({"JSON_ARCHIVE":{"KIV_ARCHIVE_OBJECT":{"Serialize":)") + json +
                      R"(},"KIV_ARCHIVE_OBJECT_MAP":{}}})");
    }
}

TEST_F(JsonSerializerTest, DisplayFormExpandsReferencesAndCutsCycles) {
    auto root = MakeRefCounted<SampleNode>();
    root->next = root;
    Status status = Status::Failure;
    std::string text;

    serializer.SerializeToDisplay(root, text, &status);

    // The root itself is no reference, so the cycle closes one level further down.
    const std::string cut = R"({"__circular_reference__":true,"INSTANCE_ID":#1})";
    const std::string expected =
        "{" + Contents(0, "", "{" + Contents(0, "", cut, "[]") + "}", "[]") + "}";
    EXPECT_EQ(status, Status::Success);
    EXPECT_EQ(WithoutIds(text), expected);
    EXPECT_EQ(serializer.GetDisplayString(root, nullptr), text);
}

TEST_F(JsonSerializerTest, DisplayFormOfAValueIsWithOrWithoutItsType) {
    const struct {
        Value value;
        const char* plain;
        const char* full;
    } cases[] = {
        {Value(5), "5", R"({"type":"int","value":5})"},
        {Value(), R"({"type":"Any"})", R"({"type":"Any"})"},
        {Value(RefPtr<Object>()), "null",
         R"({"type":"class kiv::RefPtr<class kiv::Object>","value":null})"},
        {Value(Vector2f{1, 2}), R"({"x":1.0,"y":2.0})",
         R"({"type":"class kiv::Vector2f","value":{"x":1.0,"y":2.0}})"},
    };
    for (const auto& c : cases) {
        Value value = c.value;
        Status status = Status::Failure;
        EXPECT_EQ(serializer.GetDisplayString(value, &status, false), c.plain);
        EXPECT_EQ(status, Status::Success);
        EXPECT_EQ(serializer.GetDisplayString(value, nullptr, true), c.full);
    }
}

TEST_F(JsonSerializerTest, FailuresAreLoggedAndLeaveThingsAsTheyWere) {
    JsonSerializer strict({{"DeserializeValue", Value(true)}});
    strict.SetSerializeString("as it was");
    Value unknown(TimePoint{});
    SampleScript::body = [&](SampleScript&, Archive& archive) {
        archive.Serialize<Value>("unknown", unknown);
    };
    auto holder = MakeRefCounted<SampleScript>();
    std::string out = "untouched";
    Status status;

    EXPECT_EQ(strict.Serialize(holder), Status::Failure);
    EXPECT_EQ(strict.GetSerializeString(nullptr), "as it was");
    EXPECT_EQ(strict.GetDisplayString(holder, &status), "");
    EXPECT_EQ(std::exchange(status, Status::Success), Status::Failure);
    EXPECT_EQ(strict.GetDisplayString(unknown, &status, true), "");
    EXPECT_EQ(std::exchange(status, Status::Success), Status::Failure);
    strict.SerializeToDisplay(holder, out, &status);
    EXPECT_EQ(std::exchange(status, Status::Success), Status::Failure);
    strict.SerializeToDisplay(nullptr, out, &status);
    EXPECT_EQ(status, Status::Failure);
    EXPECT_EQ(out, "untouched");

    std::vector<std::string> texts;
    for (const LogLine& line : log.Take())
        if (line.payload.find("tag:JsonSerializer") != std::string::npos)
            texts.push_back(line.payload.substr(line.payload.rfind(']') + 1));
    EXPECT_THAT(texts, ElementsAre("Serialize failed: Unknown kiv::Value type",
                                   "GetDisplayString failed: Unknown kiv::Value type",
                                   "GetDisplayString failed: Unknown kiv::Value type",
                                   "SerializeToDisplay failed: Unknown kiv::Value type",
                                   "SerializeToDisplay failed: there is no object"));
}

}  // namespace
}  // namespace kiv
