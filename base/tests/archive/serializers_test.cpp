#include <stdexcept>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "archive/sampleObjects.h"
#include "kiv/base/archive.h"
#include "kiv/base/archiveTypes.h"
#include "kiv/base/binarySerializer.h"
#include "kiv/base/jsonSerializer.h"
#include "kiv/base/timePoint.h"

namespace kiv {
namespace {

using testing::Document;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::SampleNode;
using testing::SampleScript;
using testing::WithoutIds;

const std::unordered_map<std::string, Value> kOptions = {{"sample", Value(1)}};

class SerializersTest : public testing::ObjectTest {
protected:
    JsonSerializer json{kOptions};
    BinarySerializer binary{kOptions};
};

TEST_F(SerializersTest, PassTheirOptionsOnAndReadWhatIsStored) {
    SampleScript::body = [](SampleScript&, Archive& archive) {
        EXPECT_TRUE(archive.GetOptions().contains("sample"));
    };
    for (Serializer* const serializer :
         {static_cast<Serializer*>(&json), static_cast<Serializer*>(&binary)}) {
        ASSERT_TRUE(serializer->Serialize(MakeRefCounted<SampleScript>()));
        // The stored type counts, not the one that is named.
        const RefPtr<Object> read = serializer->Deserialize("SampleNode", nullptr);
        EXPECT_TRUE(read && read->IsInstanceOf<SampleScript>());
        EXPECT_EQ(serializer->Serialize(nullptr), Status::Success);
        EXPECT_FALSE(serializer->Deserialize("SampleNode", nullptr));
    }
    EXPECT_EQ(json.GetSerializeString(nullptr), Document(R"({"Object":null})"));
    EXPECT_EQ(binary.GetBuffer(), std::vector<unsigned char>(9));

    // A success is reported by one of them only.
    Status status = Status::InvalidCast;
    json.Deserialize("", &status);
    EXPECT_EQ(status, Status::InvalidCast);
    binary.Deserialize("SampleNode", &status);
    EXPECT_EQ(status, Status::Success);
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST_F(SerializersTest, BinaryFailuresAreLoggedAndChangeNothing) {
    const auto fail = [](SampleScript&, Archive&) { throw std::runtime_error("enough"); };
    SampleScript::body = [](SampleScript&, Archive&) {};
    ASSERT_TRUE(binary.Serialize(MakeRefCounted<SampleScript>()));
    const std::vector<unsigned char> buffer = binary.GetBuffer();
    Status status;
    SampleScript::body = fail;

    EXPECT_FALSE(binary.Deserialize("SampleNode", &status));
    EXPECT_EQ(std::exchange(status, Status::Success), Status::Failure);
    EXPECT_FALSE(binary.Deserialize("SampleNobody", &status));
    EXPECT_EQ(status, Status::Failure);
    EXPECT_FALSE(binary.Deserialize("", nullptr));
    EXPECT_EQ(binary.Serialize(MakeRefCounted<SampleScript>()), Status::Failure);
    EXPECT_EQ(binary.GetBuffer(), buffer);
    const std::string tag = "[tag:BinarySerializer]";
    const std::string unknown = tag + "Can't find object type: ";
    EXPECT_THAT(TakeLog(),
                ElementsAre(tag + "Deserialize failed: enough, type: SampleNode",
                            unknown + "SampleNobody, Please register it.",
                            unknown + ", Please register it.", tag + "Serialize failed: enough"));
}

TEST_F(SerializersTest, JsonFailuresAreLoggedAndLeaveThingsAsTheyWere) {
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

    const std::string tag = "[tag:JsonSerializer]";
    const std::string why = " failed: Unknown kiv::Value type";
    std::vector<std::string> texts = TakeLog();
    std::erase_if(texts, [&](const std::string& text) { return !text.starts_with(tag); });
    EXPECT_THAT(texts, ElementsAre(tag + "Serialize" + why, tag + "GetDisplayString" + why,
                                   tag + "GetDisplayString" + why, tag + "SerializeToDisplay" + why,
                                   tag + "SerializeToDisplay failed: there is no object"));
}

TEST_F(SerializersTest, JsonWithoutAnObjectReadsAsNull) {
    for (const char* text : {R"({"JSON_ARCHIVE":{}})", "{}", "[1]"}) {
        Status status = Status::InvalidCast;
        json.SetSerializeString(text);
        EXPECT_FALSE(json.Deserialize("SampleNode", &status));
        EXPECT_EQ(status, Status::InvalidCast);
        EXPECT_THAT(TakeLog(LogLevel::Warn),
                    ElementsAre("[tag:JsonInputArchive::SerializeObject]Object can't be created. "
                                "Name: Object"));
    }
}

TEST_F(SerializersTest, TextThatIsNoJsonFails) {
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
        json.SetSerializeString(c.text);
        Status status;
        EXPECT_FALSE(json.Deserialize("", &status));
        EXPECT_EQ(status, Status::Failure);
        EXPECT_THAT(TakeLog(),
                    ElementsAre("[tag:JsonInputArchive]Json parse error: " +
                                    std::to_string(c.code) + ", string: " + c.text,
                                "[tag:JsonSerializer]Deserialize failed: Json parse error, "
                                "serialize string: " +
                                    std::string(c.text)));
    }
}

TEST_F(SerializersTest, SimpleStringStandsUnquotedInTheDocument) {
    for (const std::string text :
         {"[1,2]", "\"3D7A3C87E6F1E2C9D040A62C72EE9658\"", "", "no json"}) {
        json.SetSimpleSerializeString(text);
        EXPECT_EQ(json.GetSerializeString(nullptr), Document("{\"Serialize\":" + text + "}"));
    }
}

TEST_F(SerializersTest, DisplayFormExpandsReferencesAndCutsCycles) {
    // The contents of a node with nothing but such a next one.
    const auto contents = [](const std::string& next) {
        return R"({"count":{"type":"int","value":0},"title":{"type":"class std::basic_string<char,)"
               R"(struct std::char_traits<char>,class std::allocator<char> >","value":""},)"
               R"("next":{"type":"class kiv::RefPtr<class kiv::testing::SampleNode>","value":)" +
               next +
               R"(},"others":{"type":"class kiv::Array<class kiv::RefPtr<class )"
               R"(kiv::testing::SampleNode> >","value":[]}})";
    };
    auto root = MakeRefCounted<SampleNode>();
    root->next = root;
    Status status = Status::Failure;
    std::string text;

    json.SerializeToDisplay(root, text, &status);

    // The root itself is no reference, so the cycle closes one level further down.
    EXPECT_EQ(WithoutIds(text),
              contents(contents(R"({"__circular_reference__":true,"INSTANCE_ID":#1})")));
    EXPECT_EQ(status, Status::Success);
    EXPECT_EQ(json.GetDisplayString(root, nullptr), text);
}

TEST_F(SerializersTest, DisplayFormOfAValueIsWithOrWithoutItsType) {
    const struct {
        Value value;
        const char* plain;
        const char* full;
    } cases[] = {
        {Value(), R"({"type":"Any"})", R"({"type":"Any"})"},
        {Value(RefPtr<Object>()), "null",
         R"({"type":"class kiv::RefPtr<class kiv::Object>","value":null})"},
        {Value(Vector2f{1, 2}), R"({"x":1.0,"y":2.0})",
         R"({"type":"class kiv::Vector2f","value":{"x":1.0,"y":2.0}})"},
    };
    for (const auto& c : cases) {
        Value value = c.value;
        Status status = Status::Failure;
        EXPECT_EQ(json.GetDisplayString(value, &status, false), c.plain);
        EXPECT_EQ(status, Status::Success);
        EXPECT_EQ(json.GetDisplayString(value, nullptr, true), c.full);
    }
}

}  // namespace
}  // namespace kiv
