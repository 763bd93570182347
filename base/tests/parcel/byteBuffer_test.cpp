#include "kiv/base/byteBuffer.h"

#include <limits>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace kiv {
namespace {

using Bytes = std::vector<unsigned char>;

constexpr uint64 kMax = std::numeric_limits<uint64>::max();

Bytes BytesOf(const ByteBufferWriter& writer) {
    return Bytes(writer.data(), writer.data() + writer.size());
}

TEST(ByteBufferWriterTest, GrowsByHalfAndExactlyWhenAsked) {
    ByteBufferWriter writer;
    EXPECT_EQ(writer.size(), 0u);
    EXPECT_EQ(writer.capacity(), 4096u);

    writer.AppendBytes(Bytes(4096, 'a'));
    EXPECT_EQ(writer.capacity(), 4096u);
    writer.AppendUInt8('b');
    EXPECT_EQ(writer.capacity(), 6144u);
    writer.Reserve(10000);
    EXPECT_EQ(writer.capacity(), 10000u);
    writer.Reserve(5);
    EXPECT_EQ(writer.capacity(), 10000u);
    writer.AppendBytes(Bytes(30000, 'c'));
    EXPECT_EQ(writer.capacity(), 34097u);  // what is needed, being more than half as much again

    Bytes expected(4096, 'a');
    expected.push_back('b');
    expected.insert(expected.end(), 30000, 'c');
    EXPECT_EQ(BytesOf(writer), expected);

    ByteBufferWriter moved(std::move(writer));
    EXPECT_EQ(moved.size(), 34097u);
    EXPECT_EQ(writer.size(), 0u);
    EXPECT_EQ(writer.capacity(), 0u);
    writer.AppendUInt8(1);
    EXPECT_EQ(BytesOf(writer), Bytes{1});
}

TEST(ByteBufferWriterTest, TakesBytesOrRoomAtTheStart) {
    const Bytes bytes = {1, 2, 3};
    const ByteBufferWriter copy(bytes.data(), 3);
    EXPECT_EQ(BytesOf(copy), bytes);
    EXPECT_EQ(copy.capacity(), 3u);

    const ByteBufferWriter room(nullptr, 77);
    EXPECT_EQ(room.size(), 0u);
    EXPECT_EQ(room.capacity(), 77u);

    EXPECT_EQ(ByteBufferWriter(bytes.data(), 0).capacity(), 0u);
}

TEST(ByteBufferWriterTest, RefusesWhatNoMemoryHolds) {
    ByteBufferWriter writer;
    writer.AppendUInt8(9);
    for (const uint64 size : {kMax, kMax - 1, kMax / 2 + 1}) {
        EXPECT_THROW(writer.Reserve(size), std::bad_alloc);
        EXPECT_THROW(writer.AppendUnfilled(size), std::bad_alloc);
    }
    EXPECT_EQ(BytesOf(writer), Bytes{9});
}

TEST(ByteBufferTest, IntegersStandMostSignificantByteFirst) {
    ByteBufferWriter writer;
    writer.AppendUInt8(0x01);
    writer.AppendUInt16(0x0203);
    writer.AppendUInt24(0xFF010203);
    writer.AppendUInt32(0x04050607);
    writer.AppendUInt64(0x08090A0B0C0D0E0F);
    writer.AppendString("xy");
    EXPECT_EQ(BytesOf(writer),
              (Bytes{1, 2, 3, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 'x', 'y'}));
    EXPECT_TRUE(writer.OverwriteUInt32(16, 0x61626364));
    EXPECT_FALSE(writer.OverwriteUInt32(17, 0));
    EXPECT_FALSE(writer.OverwriteUInt32(kMax, 0));

    ByteBufferReader reader(writer);
    uint8 byte = 0;
    uint16 two = 0;
    uint32 three = 0;
    uint32 four = 0;
    uint64 eight = 0;
    EXPECT_TRUE(reader.ReadUInt8(&byte) && reader.ReadUInt16(&two) && reader.ReadUInt24(&three) &&
                reader.ReadUInt32(&four) && reader.ReadUInt64(&eight));
    EXPECT_EQ(byte, 1u);
    EXPECT_EQ(two, 0x0203u);
    EXPECT_EQ(three, 66051u);
    EXPECT_EQ(four, 0x04050607u);
    EXPECT_EQ(eight, 0x08090A0B0C0D6162u);
}

// Every read, with the size that it needs.
struct Read {
    const char* name;
    uint64 size;
    bool (*read)(ByteBufferReader& reader, bool& touched);
};

template <class T, bool (ByteBufferReader::*kRead)(T*)>
bool ReadNumber(ByteBufferReader& reader, bool& touched) {
    T value = 0x5A;
    const bool read = (reader.*kRead)(&value);
    touched = value != 0x5A;
    EXPECT_FALSE((reader.*kRead)(nullptr));
    return read;
}

const Read kReads[] = {
    {"8", 1, &ReadNumber<uint8, &ByteBufferReader::ReadUInt8>},
    {"16", 2, &ReadNumber<uint16, &ByteBufferReader::ReadUInt16>},
    {"24", 3, &ReadNumber<uint32, &ByteBufferReader::ReadUInt24>},
    {"32", 4, &ReadNumber<uint32, &ByteBufferReader::ReadUInt32>},
    {"64", 8, &ReadNumber<uint64, &ByteBufferReader::ReadUInt64>},
    {"bytes", 5,
     [](ByteBufferReader& reader, bool& touched) {
         unsigned char target[5] = {};
         const bool read = reader.ReadBytes(target);
         touched = target[0] != 0;
         EXPECT_FALSE(reader.ReadBytes(nullptr, 1));
         return read;
     }},
    {"string", 5,
     [](ByteBufferReader& reader, bool& touched) {
         std::string target = "old";
         const bool read = reader.ReadString(&target, 5);
         touched = target != "old";
         EXPECT_EQ(target, read ? "oldaaaaa" : "old");
         EXPECT_FALSE(reader.ReadString(nullptr, 0));
         return read;
     }},
    {"view", 5,
     [](ByteBufferReader& reader, bool& touched) {
         StringView target;
         const bool read = reader.ReadStringView(&target, 5);
         touched = target.data() != nullptr;
         EXPECT_FALSE(reader.ReadStringView(nullptr, 0));
         return read;
     }},
    {"consume", 5,
     [](ByteBufferReader& reader, bool& touched) {
         touched = reader.Consume(5);
         return touched;
     }},
};

TEST(ByteBufferReaderTest, AReadThatNeedsMoreThanIsLeftChangesNothing) {
    for (const Read& c : kReads) {
        SCOPED_TRACE(c.name);
        for (uint64 size = 0; size <= c.size; ++size) {
            const Bytes bytes(size, 'a');
            ByteBufferReader reader(bytes);
            bool touched = false;
            EXPECT_EQ(c.read(reader, touched), size == c.size);
            EXPECT_EQ(touched, size == c.size);
            EXPECT_EQ(reader.position(), size == c.size ? size : 0);
        }
    }
    // Sizes that would wrap when they are added to the position.
    const Bytes bytes = {1, 2};
    ByteBufferReader reader(bytes);
    ASSERT_TRUE(reader.Consume(1));
    std::string text;
    StringView view;
    unsigned char byte = 0;
    for (const uint64 size : {kMax, kMax - 1, uint64{2}}) {
        EXPECT_FALSE(reader.Consume(size));
        EXPECT_FALSE(reader.ReadString(&text, size));
        EXPECT_FALSE(reader.ReadStringView(&view, size));
        EXPECT_FALSE(reader.ReadBytes(&byte, size));
    }
    EXPECT_EQ(reader.remaining(), 1u);
    EXPECT_TRUE(reader.ReadBytes(nullptr, 0));
    EXPECT_TRUE(ByteBufferReader(ArrayView<const unsigned char>()).Consume(0));
}

struct VarintCase {
    const char* name;
    Bytes bytes;
    std::optional<uint64> value;
    uint64 taken;
};

TEST(ByteBufferReaderTest, VarintGivesItsNumberOrRefuses) {
    const Bytes full(9, 0xFF);
    Bytes largest = full;
    largest.push_back(0x01);
    Bytes beyond = full;
    beyond.push_back(0x7F);
    const VarintCase cases[] = {
        {"one group", {0x05}, 5, 1},
        {"lowest group first", {0xAC, 0x02}, 300, 2},
        {"more groups than it needs", {0x85, 0x80, 0x00}, 5, 3},
        {"the largest", largest, kMax, 10},
        {"bits beyond the last fall away", beyond, kMax, 10},
        {"ends inside a number", {0x96, 0x80}, std::nullopt, 2},
        {"ten bytes and no end", Bytes(11, 0x80), std::nullopt, 10},
        {"nothing", {}, std::nullopt, 0},
    };
    for (const VarintCase& c : cases) {
        SCOPED_TRACE(c.name);
        ByteBufferReader reader(c.bytes);
        uint64 value = 0;
        EXPECT_FALSE(reader.ReadUVarint(nullptr));
        EXPECT_EQ(reader.ReadUVarint(&value), c.value.has_value());
        EXPECT_EQ(value, c.value.value_or(0));  // a refused read leaves the target alone
        EXPECT_EQ(reader.position(), c.taken);
    }
}

TEST(ByteBufferTest, VarintsComeBackInAsFewBytesAsTheyNeed) {
    ByteBufferWriter writer;
    std::vector<uint64> written;
    uint64 size = 0;
    for (int shift = 0; shift < 64; ++shift)
        for (const uint64 bits : {uint64{1}, kMax, 0xFEDCBA9876543211})
            for (const uint64 value : {bits << shift, bits >> shift, (uint64{1} << shift) - 1}) {
                written.push_back(value);
                writer.AppendUVarint(value);
                for (uint64 rest = value; rest >= 0x80; rest >>= 7)
                    ++size;
                ASSERT_EQ(writer.size(), ++size) << value;
            }
    ByteBufferReader reader(writer);
    for (const uint64 value : written) {
        uint64 read = 0;
        ASSERT_TRUE(reader.ReadUVarint(&read));
        EXPECT_EQ(read, value);
    }

    // The last byte that fits makes nothing grow.
    ByteBufferWriter full;
    full.AppendBytes(Bytes(4095, 'a'));
    full.AppendUVarint(0x7F);
    EXPECT_EQ(full.capacity(), 4096u);
    full.AppendUVarint(kMax);
    EXPECT_EQ(full.capacity(), 6144u);
    EXPECT_EQ(full.size(), 4106u);
}

}  // namespace
}  // namespace kiv
