#include "kiv/base/binaryArchive.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "archive/sampleObjects.h"
#include "kiv/base/archiveTypes.h"
#include "kiv/base/registration.h"

namespace kiv {

namespace testing {

class Uncreatable : public Object {
    KIV_OBJECT(Uncreatable, Object)
};

[[maybe_unused]] static const bool uncreatable_registered =
    Registration::Class<Uncreatable>("SampleUncreatable").Abstract();

}  // namespace testing

namespace {

using testing::BinaryForm;
using testing::Body;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Ne;
using testing::SampleScript;

using Bytes = std::vector<unsigned char>;

// Reads all of the bytes.
void Read(Bytes bytes, const Body& body) {
    bytes.push_back(0xEE);
    BinaryForm::Read(bytes, [&](Archive& archive) {
        body(archive);
        unsigned char last = 0;
        archive.SerializeUInt8("", last);
        EXPECT_EQ(last, 0xEE);
    });
}

// One datum written, and read over another one.
template <class T>
void ExpectBytes(const char* what, T value, T other,
                 Archive& (Archive::*serialize)(const StringView&, T&), const Bytes& expected) {
    SCOPED_TRACE(what);
    EXPECT_EQ(BinaryForm::Written([&](Archive& archive) {
                  EXPECT_EQ(&(archive.*serialize)("name", value), &archive);
              }),
              expected);
    Read(expected, [&](Archive& archive) {
        EXPECT_EQ(&(archive.*serialize)("other name", other), &archive);
    });
    EXPECT_TRUE(other == value);
}

TEST(BinaryArchiveTest, EveryDatumHasItsBytes) {
#define KIV_EXPECT(Name, Type, value, other, ...) \
    ExpectBytes<Type>(#Name, value, other, &Archive::Serialize##Name, Bytes{__VA_ARGS__})
    KIV_EXPECT(Bool, bool, true, false, 1);
    KIV_EXPECT(Int8, signed char, -2, 0, 0xFE);
    KIV_EXPECT(UInt8, unsigned char, 200, 0, 200);
    KIV_EXPECT(Int16, short, -2, 0, 0xFF, 0xFE);
    KIV_EXPECT(UInt16, unsigned short, 0x0102, 0, 1, 2);
    KIV_EXPECT(Int32, int, 1, 0, 0, 0, 0, 1);
    KIV_EXPECT(UInt32, unsigned int, 0xF1020304, 0, 0xF1, 2, 3, 4);
    KIV_EXPECT(Int64, int64, -2, 0, 255, 255, 255, 255, 255, 255, 255, 0xFE);
    KIV_EXPECT(UInt64, uint64, 0x0102030405060708, 0, 1, 2, 3, 4, 5, 6, 7, 8);
    KIV_EXPECT(Float, float, 1.0f, 0, 0, 0, 0x80, 0x3F);
    KIV_EXPECT(Double, double, 1.0, 0, 0, 0, 0, 0, 0, 0, 0xF0, 0x3F);
    KIV_EXPECT(String, std::string, std::string("a\0b", 3), "longer", 0, 0, 0, 3, 'a', 0, 'b');
    KIV_EXPECT(BoolArray, std::vector<bool>, (std::vector<bool>{true, false}), {}, 0, 0, 0, 2, 1,
               0);
#define KIV_EXPECT_LISTS(Name, Type, values, ...)                                       \
    KIV_EXPECT(Name, Array<Type>, (Array<Type> values), (Array<Type>{{}, {}, {}, {}}),  \
               __VA_ARGS__);                                                            \
    KIV_EXPECT(Name, std::vector<Type>, (std::vector<Type> values), {{}}, __VA_ARGS__); \
    KIV_EXPECT(Name, Array<Type>, {}, (Array<Type> values), 0, 0, 0, 0)
    KIV_EXPECT_LISTS(Int8Array, signed char, ({-1, 2}), 0, 0, 0, 2, 255, 2);
    KIV_EXPECT_LISTS(UInt8Array, unsigned char, ({255, 2}), 0, 0, 0, 2, 255, 2);
    KIV_EXPECT_LISTS(Int16Array, short, ({-1, 2}), 0, 0, 0, 2, 255, 255, 0, 2);
    KIV_EXPECT_LISTS(UInt16Array, unsigned short, ({258}), 0, 0, 0, 1, 1, 2);
    KIV_EXPECT_LISTS(Int32Array, int, ({-1, 2}), 0, 0, 0, 2, 255, 255, 255, 255, 0, 0, 0, 2);
    KIV_EXPECT_LISTS(UInt32Array, unsigned int, ({0x01020304}), 0, 0, 0, 1, 1, 2, 3, 4);
    KIV_EXPECT_LISTS(Int64Array, int64, ({2}), 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 2);
    KIV_EXPECT_LISTS(UInt64Array, uint64, ({3}), 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 3);
    KIV_EXPECT_LISTS(FloatArray, float, ({1, 0}), 0, 0, 0, 2, 0, 0, 0x80, 0x3F, 0, 0, 0, 0);
    KIV_EXPECT_LISTS(DoubleArray, double, ({1}), 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0xF0, 0x3F);
    KIV_EXPECT_LISTS(StringArray, std::string, ({"a", ""}), 0, 0, 0, 2, 0, 0, 0, 1, 'a', 0, 0, 0,
                     0);
#undef KIV_EXPECT_LISTS
#undef KIV_EXPECT
    bool flag = false;
    BinaryForm::Read({7}, [&](Archive& archive) { archive.SerializeBool("", flag); });
    EXPECT_TRUE(flag);
}

TEST(BinaryArchiveTest, ScopesCostNothingAndArraysTheirCount) {
    Array<Box2i> boxes(2, Box2i{{1, 2}, {3, 4}});
    Array<bool> flags = {true, false};
    const Body body = [&](Archive& archive) {
        archive.Serialize<Box2i>("boxes", boxes).Serialize<bool>("flags", flags);
    };
    const Bytes expected = {0, 0, 0, 2, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4, 0,
                            0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0, 2, 1, 0};
    EXPECT_EQ(BinaryForm::Written(body), expected);
    const Array<Box2i> written = boxes;
    boxes = {Box2i{}};
    flags = {};
    Read(expected, body);
    EXPECT_EQ(boxes, written);
    EXPECT_EQ(flags, (Array<bool>{true, false}));
}

using BinaryObjectTest = testing::ObjectTest;

Bytes Reference(unsigned char tag, uint64 id) {
    ByteBufferWriter writer;
    writer.AppendUInt8(tag);
    writer.AppendUInt64(id);
    return {writer.data(), writer.data() + writer.size()};
}

// A record that has a payload, of a type of any name.
Bytes Record(uint64 id, const std::string& type, const Bytes& payload) {
    ByteBufferWriter writer;
    writer.AppendBytes(Reference(1, id));
    writer.AppendUInt32(static_cast<uint32>(type.size()));
    writer.AppendString(type);
    writer.AppendUInt32(static_cast<uint32>(payload.size()));
    writer.AppendBytes(payload);
    return {writer.data(), writer.data() + writer.size()};
}

Bytes Joined(std::initializer_list<Bytes> parts) {
    Bytes joined;
    for (const Bytes& part : parts)
        joined.insert(joined.end(), part.begin(), part.end());
    return joined;
}

TEST_F(BinaryObjectTest, EachHasOneRecordAndEveryOtherPlaceAReference) {
    auto object = MakeRefCounted<SampleScript>();
    SampleScript::body = [&](SampleScript&, Archive&) {};
    detail::WeakPtrFlag* const flag = new detail::WeakPtrFlag;
    WeakPtr<Object> weak(object.get(), flag);
    Array<WeakPtr<Object>> weak_list = {weak, WeakPtr<Object>()};
    Array<RefPtr<Object>> list = {nullptr, object, object};
    const uint64 id = reinterpret_cast<std::uintptr_t>(static_cast<Object*>(object.get()));
    const Bytes null(9, 0);
    const Bytes reference = Reference(2, id);

    EXPECT_EQ(BinaryForm::Written([&](Archive& archive) {
                  archive.SerializeObject("", weak).SerializeObjectArray("", weak_list);
                  archive.SerializeObjectArray("", list);
              }),
              Joined({reference,
                      {0, 0, 0, 2},
                      reference,
                      null,
                      {0, 0, 0, 3},
                      null,
                      Record(id, "Sample\"Script", {}),
                      reference}));
    flag->Release();
}

TEST_F(BinaryObjectTest, WhatCannotBeMadeIsSteppedOverAndReportedOnce) {
    SampleScript::body = [](SampleScript&, Archive&) {};
    // In the second one, a payload that holds a good record.
    const Bytes good = Record(7, "Sample\"Script", {});
    const Bytes bytes = Joined({{0, 0, 0, 6},
                                Record(5, "SampleNobody", {1, 2, 3}),
                                Record(6, "SampleUncreatable", good),
                                Reference(2, 5),
                                Reference(2, 7),
                                Reference(9, 8),
                                good});
    Array<RefPtr<Object>> list;
    Read(bytes, [&](Archive& archive) { archive.SerializeObjectArray("", list); });

    EXPECT_THAT(list, ElementsAre(nullptr, nullptr, nullptr, nullptr, nullptr, Ne(nullptr)));
    const std::string tag = "[tag:BinaryInputArchive::ReadObject";
    EXPECT_THAT(TakeLog(),
                ElementsAre(tag + "Internal]Can't find object type: SampleNobody, size: 3, "
                                  "Please regester it.",
                            tag + "Internal]Object type SampleUncreatable can't be created.",
                            tag + "]Unknown object type: 9"));
}

TEST_F(BinaryObjectTest, AnIdThatComesTwiceNamesTheLaterObject) {
    // The second object of id 5 stands in the payload of the first, which must outlive it.
    SampleScript::body = [](SampleScript& self, Archive& archive) {
        archive.SerializeObject("", self.reference);
    };
    const std::string name = "Sample\"Script";
    const Bytes inner = Record(5, name, Reference(2, 5));
    const Bytes bytes = Joined({Record(5, name, inner), Reference(2, 5)});
    RefPtr<Object> outer;
    RefPtr<Object> later;
    Read(bytes,
         [&](Archive& archive) { archive.SerializeObject("", outer).SerializeObject("", later); });

    ASSERT_TRUE(outer && later);
    EXPECT_NE(outer, later);
    EXPECT_EQ(static_cast<SampleScript&>(*outer).reference, later);
    EXPECT_EQ(static_cast<SampleScript&>(*later).reference, later);
    static_cast<SampleScript&>(*later).reference = nullptr;
}

TEST_F(BinaryObjectTest, EachObjectIsLoggedForDebugging) {
    spdlog::default_logger()->set_level(spdlog::level::debug);
    SampleScript::body = [](SampleScript&, Archive& archive) {
        int number = 0;
        archive.SerializeInt32("", number);
    };
    RefPtr<Object> object = MakeRefCounted<SampleScript>();
    const Body body = [&](Archive& archive) { archive.SerializeObject("", object); };
    BinaryForm::Read(BinaryForm::Written(body), body);

    const std::string read = "[tag:BinaryInputArchive::ReadObjectInternal]";
    const std::string what = " object. Type: Sample\"Script, Size: 4";
    EXPECT_THAT(TakeLog(LogLevel::Debug),
                ElementsAre("[tag:BinaryOutputArchive::WriteObjectInternal]Write object type: "
                            "Sample\"Script, size: 4",
                            read + "Start reading" + what, read + "Finished reading" + what));
}

}  // namespace
}  // namespace kiv
