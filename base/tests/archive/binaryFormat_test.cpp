// The page on the format draws a stream. It is the one that is written, and it is read.
#include <cstring>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "kiv/base/binarySerializer.h"
#include "kiv/base/registration.h"

namespace orchard {

class Leaf : public kiv::Object {
    KIV_OBJECT(Leaf, kiv::Object)

public:
    int veins = 0;
    kiv::RefPtr<Leaf> twin;
};

[[maybe_unused]] static const bool registered = kiv::Registration::Class<Leaf>("Leaf")
                                                    .Property("veins", &Leaf::veins)
                                                    .Property("twin", &Leaf::twin)
                                                    .Creatable();

}  // namespace orchard

namespace kiv {
namespace {

using orchard::Leaf;

using Bytes = std::vector<unsigned char>;

// clang-format off
const Bytes kStream = {
    0x01, 0x00, 0x00, 0x01, 0x8A, 0x2B, 0x3C, 0x40, 0x10,
    0x00, 0x00, 0x00, 0x04, 'L', 'e', 'a', 'f', 0x00, 0x00, 0x00, 0x3E,
    0x00, 0x00, 0x00, 0x03, 'i', 'n', 't', 0x00, 0x00, 0x00, 0x05,
    0x00, 0x00, 0x00, 0x26,
    'c', 'l', 'a', 's', 's', ' ', 'k', 'i', 'v', ':', ':', 'R', 'e', 'f', 'P', 't', 'r', '<',
    'c', 'l', 'a', 's', 's', ' ', 'o', 'r', 'c', 'h', 'a', 'r', 'd', ':', ':', 'L', 'e', 'a', 'f', '>',
    0x02, 0x00, 0x00, 0x01, 0x8A, 0x2B, 0x3C, 0x40, 0x10,
};
// clang-format on

// The bytes in the first cells of the table under the heading "A worked example".
Bytes PageStream() {
    std::ifstream page(KIV_FORMAT_PAGES "binary-archive.md");
    Bytes bytes;
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

TEST(BinaryFormatTest, WorkedExampleIsWrittenAndRead) {
    EXPECT_EQ(PageStream(), kStream);
    const auto leaf = MakeRefCounted<Leaf>();
    leaf->veins = 5;
    leaf->twin = leaf;
    BinarySerializer serializer({});
    ASSERT_TRUE(serializer.Serialize(leaf));
    leaf->twin = nullptr;

    // Both ids are whatever the object's address is.
    Bytes written = serializer.GetBuffer();
    ASSERT_EQ(written.size(), kStream.size());
    EXPECT_EQ(std::memcmp(&written[1], &written[written.size() - 8], 8), 0);
    std::copy_n(&kStream[1], 8, &written[1]);
    std::copy_n(&kStream[1], 8, &written[written.size() - 8]);
    EXPECT_EQ(written, kStream);

    serializer.SetBuffer(kStream);
    const RefPtr<Object> read = serializer.Deserialize("Leaf", nullptr);
    ASSERT_TRUE(read && read->IsInstanceOf<Leaf>());
    auto& copy = static_cast<Leaf&>(*read);
    EXPECT_EQ(copy.veins, 5);
    EXPECT_EQ(copy.twin, read);
    copy.twin = nullptr;
}

}  // namespace
}  // namespace kiv
