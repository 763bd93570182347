#include "kiv/base/jsonSerializer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "archive/sampleNode.h"
#include "support/logCatcher.h"

namespace kiv {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::LogCatcher;
using testing::LogLine;
using testing::SampleNode;
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

TEST(JsonSerializerTest, GraphHasThisDocumentAndComesBackFromIt) {
    auto root = MakeRefCounted<SampleNode>();
    root->count = 5;
    root->title = "a \"title\"";
    root->next = MakeRefCounted<SampleNode>();
    root->next->next = root;
    root->others.emplace_back(root->next);
    root->others.emplace_back(RefPtr<SampleNode>());
    JsonSerializer serializer({});

    ASSERT_TRUE(serializer.Serialize(root));

    const std::string text = serializer.GetSerializeString(nullptr);
    EXPECT_EQ(
        WithoutIds(text),
        Document(Reference("#1"), "" + Entry("#2", Contents(0, "", Reference("#1"), "[]")) + "," +
                                      Entry("#1", Contents(5, R"(a \"title\")", Reference("#2"),
                                                           "[" + Reference("#2") + ",null]"))));
    root->next->next = nullptr;

    Status status = Status::InvalidCast;
    const RefPtr<Object> read = serializer.Deserialize("", &status);
    ASSERT_TRUE(read && read->IsInstanceOf<SampleNode>());
    EXPECT_EQ(status, Status::InvalidCast);  // a success leaves it alone
    auto& copy = static_cast<SampleNode&>(*read);
    EXPECT_EQ(copy.count, 5);
    EXPECT_EQ(copy.title, "a \"title\"");
    ASSERT_TRUE(copy.next);
    EXPECT_EQ(copy.next->next, read);
    ASSERT_EQ(copy.others.size(), 2u);
    EXPECT_EQ(copy.others[0], copy.next);
    EXPECT_FALSE(copy.others[1]);
    copy.next->next = nullptr;
}

}  // namespace
}  // namespace kiv
