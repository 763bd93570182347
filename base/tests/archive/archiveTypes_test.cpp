#include "kiv/base/archiveTypes.h"

#include <cmath>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kiv/base/jsonArchive.h"
#include "kiv/base/object.h"
#include "kiv/base/objectPropertySerializer.h"
#include "kiv/base/registration.h"
#include "support/logCatcher.h"

namespace archivetypes_test {

struct Range {
    int first = 0;
    int last = 0;
    bool operator==(const Range&) const = default;
};
struct Secret {
    int number = 0;
    bool operator==(const Secret&) const = default;
};
struct Late {
    int n = 4;
    bool operator==(const Late&) const = default;
};
enum class Mode { Off, On };

class Part : public kiv::Object {
    KIV_OBJECT(Part, kiv::Object)
public:
    int GetSpeed() const { return speed; }
    void SetSpeed(int value) {
        ++speedCalls;
        speed = value;
    }

    Range range;
    Secret secret;
    Mode mode = Mode::Off;
    int speed = 1;
    int speedCalls = 0;
    int hidden = 5;
    int fixed = 6;
    kiv::RefPtr<Part> next;
    kiv::Array<kiv::RefPtr<Part>> parts;
};

class Stranger : public kiv::Object {
    KIV_OBJECT(Stranger, kiv::Object)
};

const bool kRegistered[] = {
    kiv::Registration::Class<Stranger>("archivetypes_test::Stranger").Creatable(),
    kiv::Registration::Class<Part>("archivetypes_test::Part")
        .Property("range", &Part::range)
        .Property("mode", &Part::mode)
        .Property("speed", &Part::GetSpeed, &Part::SetSpeed)
        .Property("hidden", &Part::hidden,
                  kiv::PropertyFlags::Readable | kiv::PropertyFlags::Writable)
        .ReadOnly(
            "fixed", [](const Part& part) { return part.fixed; },
            kiv::PropertyFlags::Readable | kiv::PropertyFlags::Storable)
        .Property("next", &Part::next)
        .Property("parts", &Part::parts)
        .Creatable(),
    kiv::Registration::Enum<Mode>("archivetypes_test::Mode")
        .Item("Off", Mode::Off)
        .Item("On", Mode::On)
        .Done(),
};

}  // namespace archivetypes_test

template <>
struct kiv::ArchiveSerializer<archivetypes_test::Range> {
    static void Serialize(Archive& archive, archivetypes_test::Range& range) {
        archive.SerializeInt32("first", range.first);
        archive.SerializeInt32("last", range.last);
    }
};

template <>
struct kiv::ArchiveSerializer<archivetypes_test::Late> {
    static void Serialize(Archive& archive, archivetypes_test::Late& late) {
        archive.SerializeInt32("n", late.n);
    }
};

namespace kiv {
namespace {

using archivetypes_test::Late;
using archivetypes_test::Mode;
using archivetypes_test::Part;
using archivetypes_test::Range;
using archivetypes_test::Secret;
using ::testing::HasSubstr;

const ValueArchiveRegistrar<Range> kRange("class archivetypes_test::Range");

std::unordered_map<std::string, Value> NoOptions() {
    return {};
}

/// What stands under "v" when `datum` is written as it.
template <class T>
std::string Written(T datum) {
    JsonOutputArchive archive(NoOptions());
    archive.Serialize<T>("v", datum);
    std::string text;
    archive.ToString(text);
    const std::string front = R"({"JSON_ARCHIVE":{"KIV_ARCHIVE_OBJECT":{"v":)";
    const std::string back = R"(},"KIV_ARCHIVE_OBJECT_MAP":{}}})";
    EXPECT_EQ(text.substr(0, front.size()), front);
    return text.substr(front.size(), text.size() - front.size() - back.size());
}

/// Reads the text under "v" over `datum`.
template <class T>
void ReadOver(const std::string& text, T& datum) {
    JsonInputArchive archive(NoOptions());
    archive.FromString(R"({"JSON_ARCHIVE":{"KIV_ARCHIVE_OBJECT":{"v":)" + text + "}}}");
    archive.Serialize<T>("v", datum);
}

TEST(ArchiveTypesTest, RecordsHaveTheFieldsOfTheStoredForm) {
    const struct {
        Value value;
        const char* text;
    } cases[] = {
        {Value(), R"({"type":"Any"})"},
        {Value(5), R"({"type":"int","value":5})"},
        {Value(true), R"({"type":"bool","value":true})"},
        {Value(-7ll), R"({"type":"__int64","value":-7})"},
        {Value(static_cast<unsigned char>(200)), R"({"type":"unsigned char","value":200})"},
        {Value(std::string("a\"b")),
         R"({"type":"class std::basic_string<char,struct std::char_traits<char>,class std::allocator<char> >","value":"a\"b"})"},
        {Value(Vector3f{1, 2, 3}),
         R"({"type":"class kiv::Vector3f","value":{"x":1.0,"y":2.0,"z":3.0}})"},
        {Value(Size2i{3, 4}), R"({"type":"class kiv::Size2i","value":{"width":3,"height":4}})"},
        {Value(Size3i{3, 4, 5}), R"({"type":"class kiv::Size3i","value":{"x":3,"y":4,"z":5}})"},
        {Value(Color{.b = 1, .g = 2, .r = 3, .a = 4}),
         R"({"type":"class kiv::Color","value":{"r":3,"g":2,"b":1,"a":4}})"},
        {Value(Box2i{{1, 2}, {3, 4}}),
         R"({"type":"class kiv::Box2i","value":{"min":{"x":1,"y":2},"max":{"x":3,"y":4}}})"},
        {Value(Matrix3i{{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}),
         R"({"type":"class kiv::Matrix3i","value":{"col0":{"x":1,"y":2,"z":3},"col1":{"x":4,"y":5,"z":6},"col2":{"x":7,"y":8,"z":9}}})"},
        {Value(Planef{{0, 0, 1}, 2}),
         R"({"type":"class kiv::Planef","value":{"normal":{"x":0.0,"y":0.0,"z":1.0},"distance":2.0}})"},
        {Value(Posef{{1, 0, 0}, {0, 0, 0, 1}}),
         R"({"type":"class kiv::Posef","value":{"position":{"x":1.0,"y":0.0,"z":0.0},"rotation":{"x":0.0,"y":0.0,"z":0.0,"w":1.0}}})"},
        {Value(Array<bool>{true, false}),
         R"({"type":"class kiv::Array<bool>","value":[true,false]})"},
        {Value(Array<float>{0.5f}), R"({"type":"class kiv::Array<float>","value":[0.5]})"},
        {Value(Array<Vector2i>{{1, 2}}),
         R"({"type":"class kiv::Array<class kiv::Vector2i>","value":[{"x":1,"y":2}]})"},
        {Value(Array<Array<Posed>>{{}, {}}),
         R"({"type":"class kiv::Array<class kiv::Array<class kiv::Posed> >","value":[{"array":[]},{"array":[]}]})"},
        {Value(Range{1, 2}),
         R"({"type":"class archivetypes_test::Range","value":{"first":1,"last":2}})"},
        {Value(Array<Range>{{1, 2}}),
         R"({"type":"class kiv::Array<class archivetypes_test::Range>","value":[{"first":1,"last":2}]})"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(Written(c.value), c.text);
        Value read;
        ReadOver(c.text, read);
        EXPECT_EQ(read, c.value);
    }
}

template <class T>
void RoundTrip() {
    const Value value{T()};
    Value read;
    ReadOver(Written(value), read);
    EXPECT_EQ(read.GetType(), Type::Get<T>());
    if (!std::is_same_v<T, Planed> && !std::is_same_v<T, Planef>) {  // whose normal is NaN now
        EXPECT_EQ(read, value);
    }
}

TEST(ArchiveTypesTest, EveryTypeOfTheFamilyComesBack){
#define KIV_CALL(T)            \
    {                          \
        SCOPED_TRACE(#T);      \
        RoundTrip<T>();        \
        RoundTrip<Array<T>>(); \
    }
    KIV_FOR_EACH_BASIC_VALUE(KIV_CALL) KIV_FOR_EACH_RECORD(KIV_CALL) KIV_CALL(Array<Posed>)
#undef KIV_CALL
}

TEST(ArchiveTypesTest, PlaneIsReadWithAUnitNormal) {
    Planed plane;
    ReadOver(R"({"normal":{"x":0,"y":3,"z":4},"distance":10})", plane);
    EXPECT_EQ(plane.normal, (Vector3d{0, 0.6, 0.8}));
    EXPECT_EQ(plane.distance, 10);
    EXPECT_EQ(Written(Planed{{0, 3, 4}, 10}),
              R"({"normal":{"x":0.0,"y":3.0,"z":4.0},"distance":10.0})");
    ReadOver(R"({"normal":{"x":0,"y":0,"z":0}})", plane);
    EXPECT_TRUE(std::isnan(plane.normal.x));
}

TEST(ArchiveTypesTest, MissingFieldKeepsItsValue) {
    testing::LogCatcher log;
    Vector3i vector{1, 2, 3};
    ReadOver(R"({"x":7,"z":9})", vector);
    EXPECT_EQ(vector, (Vector3i{7, 2, 9}));
    EXPECT_EQ(log.Take().size(), 1u);

    Value value(Vector3i{1, 2, 3});
    ReadOver(R"({"value":{"y":5}})", value);  // without "type" it is what it was
    EXPECT_EQ(value.Get<Vector3i>(), (Vector3i{1, 5, 3}));
}

TEST(ArchiveTypesTest, ReferenceToAnotherClassReadsAsNull) {
    const std::string text =
        R"({"JSON_ARCHIVE":{"KIV_ARCHIVE_OBJECT":{"v":{"INSTANCE_ID":3},"r":[]},)"
        R"("KIV_ARCHIVE_OBJECT_MAP":{"3":{"KIV_TYPE_NAME":"archivetypes_test::Stranger"}}}})";
    JsonInputArchive archive(NoOptions());
    archive.FromString(text);
    RefPtr<Part> part = MakeRefCounted<Part>();
    RefPtr<archivetypes_test::Stranger> stranger;
    Array<Vector2i> vectors = {{1, 2}};

    EXPECT_EQ(&archive.Serialize<Part>("v", part), &archive);
    EXPECT_EQ(part, nullptr);
    archive.Serialize<archivetypes_test::Stranger>("v", stranger);
    EXPECT_NE(stranger, nullptr);
    archive.Serialize<Vector2i>("r", vectors);
    EXPECT_TRUE(vectors.empty());
}

TEST(ArchiveTypesTest, TimesAndTypesAreFieldsButNoValues) {
    EXPECT_EQ(Written(TimePoint::FromTicks(-5)), R"({"ticks":-5})");
    TimePoint time;
    ReadOver(R"({"ticks":77})", time);
    EXPECT_EQ(time.ToTicks(), 77);
    EXPECT_EQ(Written(Type::Get<int>()), R"({"Type":"int32"})");
    Type type;
    ReadOver(R"({"Type":"Object"})", type);
    EXPECT_EQ(type, Type::Get<Object>());
    ReadOver(R"({"Type":"no such type"})", type);
    EXPECT_EQ(type, Type());
    type = Type::Get<Range>();
    ReadOver(R"({})", type);
    EXPECT_EQ(type, Type::Get<Range>());
    ReadOver(R"({"Type":""})", type);
    EXPECT_EQ(type, Type());
    EXPECT_FALSE(ArchiveSerializer<Value>::value_archive_handles_.contains("class kiv::TimePoint"));
}

TEST(ArchiveTypesTest, UnknownTypeIsToldAndCostsOnlyItself) {
    testing::LogCatcher log;
    const std::string message =
        "[domain:kiv.base][tag:kiv::ArchiveSerializer<class kiv::Value,void>::Serialize]Unknown "
        "kiv::Value type: class archivetypes_test::Secret, Please register it like "
        "archiveTypes/archiveTypes. 1. Achive ArchiveSerializer<T>; 2. Define static "
        "ValueArchiveRegistrar<T>.";
    EXPECT_EQ(Written(Value(Late{})), R"({"type":"class archivetypes_test::Late"})");
    EXPECT_EQ(log.Take().size(), 1u);
    EXPECT_EQ(Written(Value(Secret{3})), R"({"type":"class archivetypes_test::Secret"})");
    Value kept(5);
    ReadOver(R"({"type":"class archivetypes_test::Secret","value":{"number":3}})", kept);
    EXPECT_EQ(kept, Value(5));
    const auto lines = log.Take();
    ASSERT_EQ(lines.size(), 2u);
    for (const testing::LogLine& line : lines)
        EXPECT_EQ(line, (testing::LogLine{LogLevel::Error, message}));

    JsonOutputArchive strict({{"DeserializeValue", Value(false)}});
    Value secret(Secret{3});
    EXPECT_THROW(strict.Serialize<Value>("v", secret), std::runtime_error);
    JsonInputArchive strictReader({{"DeserializeValue", Value()}});
    strictReader.FromString(
        R"({"JSON_ARCHIVE":{"KIV_ARCHIVE_OBJECT":{"v":{"type":"class archivetypes_test::Secret"}}}})");
    EXPECT_THROW(strictReader.Serialize<Value>("v", secret), std::runtime_error);

    // A handler that comes later is found although the type was met without one.
    const ValueArchiveRegistrar<Late> late("class archivetypes_test::Late");
    EXPECT_EQ(Written(Value(Late{})),
              R"({"type":"class archivetypes_test::Late","value":{"n":4}})");
}

TEST(ArchiveTypesTest, ArrayNamesAreSpelledAsRawNames) {
    using Registrar = ValueArchiveRegistrar<int>;
    EXPECT_EQ(Registrar::GetArrayWrapperName("int"), "class kiv::Array<int>");
    EXPECT_EQ(Registrar::GetArrayWrapperName("class kiv::Array<class kiv::Posed>"),
              "class kiv::Array<class kiv::Array<class kiv::Posed> >");
    EXPECT_EQ(ArchiveSerializer<Value>::value_archive_handles_.count("class kiv::Array<int>"), 1u);
}

TEST(ObjectPropertySerializerTest, StorablePropertiesTravelAndOthersAreLeftAlone) {
    for (const bool registered : archivetypes_test::kRegistered)
        ASSERT_TRUE(registered);
    const RefPtr<Part> part = MakeRefCounted<Part>();
    part->range = {3, 4};
    part->mode = Mode::On;
    part->hidden = 9;
    JsonOutputArchive out(NoOptions());

    ObjectPropertySerializer::Serialize(out, part.get());
    std::string text;
    out.ToString(text);

    EXPECT_EQ(
        text,
        R"({"JSON_ARCHIVE":{"KIV_ARCHIVE_OBJECT":{)"
        R"("range":{"type":"class archivetypes_test::Range","value":{"first":3,"last":4}},)"
        R"("mode":{"type":"int","value":1},"speed":{"type":"int","value":1},)"
        R"("fixed":{"type":"int","value":6},)"
        R"("next":{"type":"class kiv::RefPtr<class archivetypes_test::Part>","value":null},)"
        R"("parts":{"type":"class kiv::Array<class kiv::RefPtr<class archivetypes_test::Part> >","value":[]}},)"
        R"("KIV_ARCHIVE_OBJECT_MAP":{}}})");
    EXPECT_EQ(part->speedCalls, 0);  // saving fires no setter

    const RefPtr<Part> read = MakeRefCounted<Part>();
    read->hidden = 1;
    read->fixed = 2;
    JsonInputArchive in(NoOptions());
    in.FromString(text);
    ObjectPropertySerializer::Serialize(in, read.get());
    EXPECT_EQ(read->range, part->range);
    EXPECT_EQ(read->mode, Mode::On);
    EXPECT_EQ(read->hidden, 1);
    EXPECT_EQ(read->fixed, 2);
}

TEST(ObjectPropertySerializerTest, ReferencesAreNarrowedAndWrongOnesRefused) {
    const RefPtr<Part> part = MakeRefCounted<Part>();
    const auto fill = [&part](const std::string& next, const std::string& parts) {
        JsonInputArchive in(NoOptions());
        in.FromString(
            R"({"JSON_ARCHIVE":{"KIV_ARCHIVE_OBJECT":{"next":{"type":"class kiv::RefPtr<class Gone>","value":)" +
            next +
            R"(},"parts":{"type":"class kiv::Array<class kiv::RefPtr<class Gone> >","value":)" +
            parts +
            R"(}},"KIV_ARCHIVE_OBJECT_MAP":{"1":{"speed":{"type":"int","value":8},"KIV_TYPE_NAME":"archivetypes_test::Part"},"2":{"KIV_TYPE_NAME":"Object"},"3":{"KIV_TYPE_NAME":"archivetypes_test::Stranger"}}}})");
        ObjectPropertySerializer::Serialize(in, part.get());
    };
    testing::LogCatcher log;

    fill(R"({"INSTANCE_ID":1})", R"([{"INSTANCE_ID":1},null,{"INSTANCE_ID":2}])");
    ASSERT_NE(part->next, nullptr);
    EXPECT_EQ(part->next->speed, 8);
    ASSERT_EQ(part->parts.size(), 3u);
    EXPECT_EQ(std::as_const(part->parts)[0], part->next);
    EXPECT_EQ(std::as_const(part->parts)[1], nullptr);
    EXPECT_EQ(std::as_const(part->parts)[2], nullptr);

    // An object of another class is refused where it would be taken for one of this.
    fill(R"({"INSTANCE_ID":3})", R"([{"INSTANCE_ID":1},{"INSTANCE_ID":3}])");
    ASSERT_NE(part->next, nullptr);
    EXPECT_EQ(part->next->speed, 8);
    EXPECT_EQ(part->parts.size(), 3u);

    fill("null", "[]");
    EXPECT_EQ(part->next, nullptr);
    EXPECT_TRUE(part->parts.empty());
}

}  // namespace
}  // namespace kiv
