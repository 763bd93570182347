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

    EXPECT_EQ(std::string(writer.data(), writer.data() + writer.size()),
              std::string(4096, 'a') + 'b' + std::string(30000, 'c'));

    ByteBufferWriter moved(std::move(writer));
    EXPECT_EQ(moved.size(), 34097u);
    EXPECT_EQ(writer.size(), 0u);
    EXPECT_EQ(writer.capacity(), 0u);
    writer.AppendUInt8(1);
    EXPECT_EQ(BytesOf(writer), Bytes{1});
}

TEST(ByteBufferWriterTest, TakesBytesOrRoomAtTheStart) {
    const Bytes bytes = {1, 2, 3};
    EXPECT_EQ(BytesOf(ByteBufferWriter(bytes.data(), 3)), bytes);
    EXPECT_EQ(ByteBufferWriter(bytes.data(), 3).capacity(), 3u);
    EXPECT_EQ(ByteBufferWriter(bytes.data(), 0).capacity(), 0u);
    EXPECT_EQ(ByteBufferWriter(nullptr, 77).size(), 0u);
    EXPECT_EQ(ByteBufferWriter(nullptr, 77).capacity(), 77u);
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

TEST(ByteBufferWriterTest, IntegersStandMostSignificantByteFirst) {
    ByteBufferWriter writer;
    writer.AppendUInt8(0x01);
    writer.AppendUInt16(0x0203);
    writer.AppendUInt24(0xFF010203);
    writer.AppendUInt32(0x04050607);
    writer.AppendUInt64(0x08090A0B0C0D0E0F);
    writer.AppendString("xy");
    EXPECT_TRUE(writer.OverwriteUInt32(16, 0x10111213));
    EXPECT_FALSE(writer.OverwriteUInt32(17, 0));
    EXPECT_FALSE(writer.OverwriteUInt32(kMax, 0));
    EXPECT_EQ(BytesOf(writer),
              (Bytes{1, 2, 3, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 16, 17, 18, 19}));
}

template <class T, bool (ByteBufferReader::*kRead)(T*)>
std::optional<uint64> Number(ByteBufferReader& reader) {
    T number = 0x5A;
    EXPECT_FALSE((reader.*kRead)(nullptr));
    if ((reader.*kRead)(&number))
        return number;
    EXPECT_EQ(number, 0x5A);
    return std::nullopt;
}

TEST(ByteBufferReaderTest, NumbersAreReadWholeOrNotAtAll) {
    const struct {
        uint64 size;
        std::optional<uint64> (*read)(ByteBufferReader&);
        uint64 number;
    } cases[] = {
        {1, &Number<uint8, &ByteBufferReader::ReadUInt8>, 0x01},
        {2, &Number<uint16, &ByteBufferReader::ReadUInt16>, 0x0102},
        {3, &Number<uint32, &ByteBufferReader::ReadUInt24>, 0x010203},
        {4, &Number<uint32, &ByteBufferReader::ReadUInt32>, 0x01020304},
        {8, &Number<uint64, &ByteBufferReader::ReadUInt64>, 0x0102030405060708},
    };
    const unsigned char bytes[] = {1, 2, 3, 4, 5, 6, 7, 8};
    for (const auto& c : cases) {
        ByteBufferReader whole(ArrayView<const unsigned char>(bytes, c.size));
        EXPECT_EQ(c.read(whole), c.number);
        EXPECT_EQ(whole.remaining(), 0u);
        ByteBufferReader part(ArrayView<const unsigned char>(bytes, c.size - 1));
        EXPECT_EQ(c.read(part), std::nullopt) << c.size;
        EXPECT_EQ(part.position(), 0u);
    }
}

TEST(ByteBufferReaderTest, BytesAreReadWholeOrNotAtAll) {
    ByteBufferWriter writer;
    writer.AppendString("abcdefghi");
    ByteBufferReader reader(writer);
    ASSERT_TRUE(reader.Consume(1));
    unsigned char bytes[2] = {};
    std::string text = "old";
    StringView view;
    // Also sizes that would wrap when they are added to the position.
    for (const uint64 size : {uint64{9}, kMax - 1, kMax}) {
        EXPECT_FALSE(reader.Consume(size));
        EXPECT_FALSE(reader.ReadBytes(bytes, size));
        EXPECT_FALSE(reader.ReadString(&text, size));
        EXPECT_FALSE(reader.ReadStringView(&view, size));
    }
    EXPECT_FALSE(reader.ReadBytes(nullptr, 1));
    EXPECT_FALSE(reader.ReadString(nullptr, 0));
    EXPECT_FALSE(reader.ReadStringView(nullptr, 0));
    EXPECT_TRUE(reader.ReadBytes(nullptr, 0));
    EXPECT_EQ(view.data(), nullptr);
    EXPECT_EQ(reader.position(), 1u);

    EXPECT_TRUE(reader.ReadBytes(bytes));
    EXPECT_EQ(bytes[1], 'c');
    EXPECT_TRUE(reader.ReadString(&text, 3));
    EXPECT_EQ(text, "olddef");
    EXPECT_TRUE(reader.ReadStringView(&view, 3));
    EXPECT_EQ(view, "ghi");
    EXPECT_FALSE(reader.Consume(1));
    EXPECT_TRUE(ByteBufferReader(ArrayView<const unsigned char>()).Consume(0));
}

TEST(ByteBufferReaderTest, VarintGivesItsNumberOrRefuses) {
    Bytes largest(10, 0xFF);
    largest.back() = 0x01;
    Bytes beyond(10, 0xFF);
    beyond.back() = 0x7F;
    const struct {
        Bytes bytes;
        std::optional<uint64> value;
        uint64 taken;
    } cases[] = {
        {{0x05}, 5, 1},
        {{0xAC, 0x02}, 300, 2},      // lowest group first
        {{0x85, 0x80, 0x00}, 5, 3},  // more groups than it needs
        {largest, kMax, 10},
        {beyond, kMax, 10},  // bits beyond the last fall away
        {{}, std::nullopt, 0},
        {{0x96, 0x80}, std::nullopt, 2},
        {Bytes(11, 0x80), std::nullopt, 10},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.bytes));
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
