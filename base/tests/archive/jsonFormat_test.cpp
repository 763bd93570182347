// The page on the format shows a document. It is the one that is written, and it is read.
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "archive/sampleObjects.h"
#include "kiv/base/geometry.h"
#include "kiv/base/jsonSerializer.h"
#include "kiv/base/registration.h"

namespace orchard {

class Tree : public kiv::Object {
    KIV_OBJECT(Tree, kiv::Object)

public:
    int rings = 0;
    kiv::Vector2f place;
    kiv::RefPtr<Tree> beside;
};

static const bool registered = kiv::Registration::Class<Tree>("Tree")
                                   .Property("rings", &Tree::rings)
                                   .Property("place", &Tree::place)
                                   .Property("beside", &Tree::beside)
                                   .Creatable();

}  // namespace orchard

namespace kiv {
namespace {

using orchard::Tree;

// The text between the marks of the JSON example, without line ends and indentation.
std::string WorkedDocument() {
    std::ifstream page(KIV_FORMAT_PAGES "json-archive.md");
    std::string text;
    bool inside = false;
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with("```"))
            inside = line == "```json";
        else if (inside)
            text += line.substr(line.find_first_not_of(' '));
    }
    return text;
}

TEST(JsonFormatTest, WorkedDocumentIsWrittenAndRead) {
    ASSERT_TRUE(orchard::registered);
    auto tree = MakeRefCounted<Tree>();
    auto other = MakeRefCounted<Tree>();
    tree->rings = 40;
    tree->beside = other;
    other->rings = 12;
    other->place = Vector2f{1.5f, 0};
    other->beside = tree;
    JsonSerializer serializer({});

    ASSERT_TRUE(serializer.Serialize(tree));
    EXPECT_EQ(testing::WithoutIds(serializer.GetSerializeString(nullptr)),
              testing::WithoutIds(WorkedDocument()));
    other->beside = nullptr;

    serializer.SetSerializeString(WorkedDocument());
    const RefPtr<Object> read = serializer.Deserialize("Tree", nullptr);
    ASSERT_TRUE(read && read->IsInstanceOf<Tree>());
    const auto& copy = static_cast<const Tree&>(*read);
    EXPECT_EQ(copy.rings, 40);
    ASSERT_TRUE(copy.beside);
    EXPECT_EQ(copy.beside->place, (Vector2f{1.5f, 0}));
    EXPECT_EQ(copy.beside->beside, read);
    copy.beside->beside = nullptr;
}

}  // namespace
}  // namespace kiv
