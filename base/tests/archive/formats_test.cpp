// The pages on the formats show an example each. It is what is written, and it is read.
#include <cstring>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "archive/sampleObjects.h"
#include "kiv/base/binarySerializer.h"
#include "kiv/base/geometry.h"
#include "kiv/base/jsonSerializer.h"
#include "kiv/base/registration.h"

namespace orchard {

class Leaf : public kiv::Object {
    KIV_OBJECT(Leaf, kiv::Object)

public:
    int veins = 0;
    kiv::RefPtr<Leaf> twin;
};

class Tree : public kiv::Object {
    KIV_OBJECT(Tree, kiv::Object)

public:
    int rings = 0;
    kiv::Vector2f place;
    kiv::RefPtr<Tree> beside;
};

[[maybe_unused]] static const bool registered[] = {
    kiv::Registration::Class<Leaf>("Leaf")
        .Property("veins", &Leaf::veins)
        .Property("twin", &Leaf::twin)
        .Creatable(),
    kiv::Registration::Class<Tree>("Tree")
        .Property("rings", &Tree::rings)
        .Property("place", &Tree::place)
        .Property("beside", &Tree::beside)
        .Creatable(),
};

}  // namespace orchard

namespace kiv {
namespace {

using orchard::Leaf;
using orchard::Tree;

// The bytes in the first cells of the table under the heading "A worked example".
std::vector<unsigned char> PageStream() {
    std::ifstream page(KIV_FORMAT_PAGES "binary-archive.md");
    std::vector<unsigned char> bytes;
    bool inside = false;
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with("## "))
            inside = line == "## A worked example";
        if (!inside || !line.starts_with("| `"))
            continue;
        const std::string cell = line.substr(3, line.find('`', 3) - 3);
        for (std::size_t at = 0; at < cell.size(); at += 3)
            bytes.push_back(static_cast<unsigned char>(std::stoi(cell.substr(at, 2), nullptr, 16)));
    }
    return bytes;
}

// The JSON example, without line ends and indentation.
std::string PageDocument() {
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

TEST(FormatsTest, BinaryExampleIsWrittenAndRead) {
    const auto leaf = MakeRefCounted<Leaf>();
    leaf->veins = 5;
    leaf->twin = leaf;
    BinarySerializer serializer({});
    ASSERT_TRUE(serializer.Serialize(leaf));
    leaf->twin = nullptr;

    // Both ids are whatever the object's address is.
    const std::vector<unsigned char> stream = PageStream();
    std::vector<unsigned char> written = serializer.GetBuffer();
    ASSERT_EQ(written.size(), stream.size());
    EXPECT_EQ(std::memcmp(&written[1], &written[written.size() - 8], 8), 0);
    std::copy_n(&stream[1], 8, &written[1]);
    std::copy_n(&stream[1], 8, &written[written.size() - 8]);
    EXPECT_EQ(written, stream);

    serializer.SetBuffer(stream);
    const RefPtr<Object> read = serializer.Deserialize("Leaf", nullptr);
    ASSERT_TRUE(read && read->IsInstanceOf<Leaf>());
    auto& copy = static_cast<Leaf&>(*read);
    EXPECT_EQ(copy.veins, 5);
    EXPECT_EQ(copy.twin, read);
    copy.twin = nullptr;
}

TEST(FormatsTest, JsonExampleIsWrittenAndRead) {
    auto tree = MakeRefCounted<Tree>();
    auto other = MakeRefCounted<Tree>();
    tree->rings = 40;
    tree->beside = other;
    other->rings = 12;
    other->place = Vector2f{1.5f, 0};
    other->beside = tree;
    JsonSerializer serializer({});
    ASSERT_TRUE(serializer.Serialize(tree));
    other->beside = nullptr;
    EXPECT_EQ(testing::WithoutIds(serializer.GetSerializeString(nullptr)),
              testing::WithoutIds(PageDocument()));

    serializer.SetSerializeString(PageDocument());
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
