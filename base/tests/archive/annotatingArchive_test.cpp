#include "kiv/base/annotatingArchive.h"

#include <cstdio>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "archive/sampleObjects.h"
#include "kiv/base/archiveTypes.h"
#include "kiv/base/binaryArchive.h"

namespace kiv {
namespace {

using testing::Body;
using ::testing::ElementsAre;
using testing::SampleNode;

using Lines = std::vector<std::string>;

// The lines of a pass, with every id replaced. Their lengths have to add up to the stream.
Lines Annotate(BinaryArchive& archive, std::size_t size, const Body& body) {
    Lines lines;
    uint64 covered = 0;
    {
        AnnotatingArchive view(archive, [&](const StringView& text) {
            std::string line(text);
            uint64 offset = 0;
            uint64 length = 0;
            EXPECT_EQ(std::sscanf(line.c_str(), "%lu %lu", &offset, &length), 2);
            EXPECT_EQ(offset, covered) << line;
            covered += length;
            for (std::size_t at = 0; (at = line.find("0x")) != std::string::npos;)
                line.replace(at, line.find_first_not_of("0123456789abcdef", at + 2) - at, "ID");
            lines.push_back(line);
        });
        body(view);
    }
    EXPECT_EQ(covered, size);
    return lines;
}

using AnnotatingArchiveTest = testing::ObjectTest;

TEST_F(AnnotatingArchiveTest, EveryByteStandsInOneLineInBothDirections) {
    auto root = MakeRefCounted<SampleNode>();
    root->count = 5;
    root->title = "a \"long\"\n";
    root->others = {root, nullptr};
    Array<float> floats(10, 0.5f);
    Array<Vector2i> places(1, Vector2i{1, -2});
    unsigned char byte = 7;
    const auto body = [&](Archive& archive) {
        archive.Serialize<SampleNode>("root", root).SerializeFloatArray("floats", floats);
        archive.Serialize<Vector2i>("places", places).SerializeUInt8("byte", byte);
    };
    const std::vector<unsigned char> bytes = testing::BinaryForm::Written(body);

    BinaryInputArchive input(bytes, {});
    const Lines read = Annotate(input, bytes.size(), body);
    BinaryOutputArchive again({});
    const Lines written = Annotate(again, bytes.size(), body);

    EXPECT_EQ(read, written);
    const Lines expected = {
        "       0      27  root: object ID of type \"SampleNode\"",
        "      27       0    count: scope",
        "      27       7      type: String \"int\"",
        "      34       4      value: Int32 5",
        "      38       0    count: end",
    };
    EXPECT_EQ(Lines(read.begin(), read.begin() + 5), expected);
    EXPECT_THAT(read,
                ::testing::Contains(::testing::HasSubstr("value: String \"a \\\"long\\\"\\x0A\"")));
    const Lines last = {
        "     276       4      value: objects [2]",
        "     280       9        [0]: reference to ID",
        "     289       9        [1]: null",
        "     298       0    others: end",
        "     298      44  floats: FloatArray [10] 0.5 0.5 0.5 0.5 0.5 0.5 0.5 0.5 ...",
        "     342       4  places: elements [1]",
        "     346       0    element",
        "     346       4      x: Int32 1",
        "     350       4      y: Int32 -2",
        "     354       0    end",
        "     354       0  places: end",
        "     354       1  byte: UInt8 7",
    };
    EXPECT_EQ(Lines(read.end() - 12, read.end()), last);
}

TEST_F(AnnotatingArchiveTest, ShowsWhatADamagedStreamLacks) {
    // A type that nobody knows, with a payload of one byte; and half an object record.
    const std::vector<unsigned char> bytes = {1, 0, 0,   0, 0, 0, 0, 0, 5, 0, 0,
                                              0, 1, '?', 0, 0, 0, 1, 9, 2, 0};
    BinaryInputArchive input(bytes, {});
    const Lines lines = Annotate(input, 19, [](Archive& archive) {
        RefPtr<Object> object;
        int number = 3;
        archive.SerializeObject("a", object).SerializeObject("b", object);
        archive.SerializeInt32("c", number);
    });
    EXPECT_THAT(lines,
                ElementsAre("       0      18  a: object ID of type \"?\"",
                            "      18       1    contents stepped over",
                            "      19       0  b: object missing", "      19       0  c: Int32 3"));
}

}  // namespace
}  // namespace kiv
