#include "kiv/base/archiveTypes.h"

#include <cmath>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "archive/sampleObjects.h"
#include "kiv/base/jsonArchive.h"
#include "kiv/base/objectPropertySerializer.h"
#include "kiv/base/registration.h"

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
    Mode mode = Mode::Off;
    int speed = 1;
    int speedCalls = 0;
    int hidden = 5;
    int fixed = 6;
};

[[maybe_unused]] const bool registered[] = {
    kiv::Registration::Class<Part>("archivetypes_test::Part")
        .Property("range", &Part::range)
        .Property("mode", &Part::mode)
        .Property("speed", &Part::GetSpeed, &Part::SetSpeed)
        .Property("hidden", &Part::hidden,
                  kiv::PropertyFlags::Readable | kiv::PropertyFlags::Writable)
        .ReadOnly(
            "fixed", [](const Part& part) { return part.fixed; },
            kiv::PropertyFlags::Readable | kiv::PropertyFlags::Storable)
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
using testing::Document;
using testing::JsonForm;
using testing::SampleNode;

const ValueArchiveRegistrar<Range> kRange("class archivetypes_test::Range");

/// What stands under "v" when `datum` is written as it.
template <class T>
std::string Written(T datum) {
    const std::string text =
        JsonForm::Written([&](Archive& archive) { archive.Serialize<T>("v", datum); });
    const std::size_t front = Document("{\"v\":").find("\"v\":") + 4;
    return text.substr(front, text.find("},\"KIV_ARCHIVE_OBJECT_MAP\"") - front);
}

/// Reads the text under "v" over `datum`.
template <class T>
void ReadOver(const std::string& text, T& datum) {
    JsonForm::Read(Document("{\"v\":" + text + "}"),
                   [&](Archive& archive) { archive.Serialize<T>("v", datum); });
}

using ArchiveTypesTest = testing::ObjectTest;

TEST_F(ArchiveTypesTest, RecordsHaveTheFieldsOfTheStoredForm) {
    const struct {
        Value value;
        const char* text;
    } cases[] = {
        {Value(), R"({"type":"Any"})"},
        {Value(5), R"({"type":"int","value":5})"},
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
        {Value(Array<Vector2i>{{1, 2}}),
         R"({"type":"class kiv::Array<class kiv::Vector2i>","value":[{"x":1,"y":2}]})"},
        {Value(Array<Array<Posed>>{{}, {}}),
         R"({"type":"class kiv::Array<class kiv::Array<class kiv::Posed> >","value":[{"array":[]},{"array":[]}]})"},
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

TEST_F(ArchiveTypesTest, EveryTypeOfTheFamilyComesBack){
#define KIV_CALL(T)            \
    {                          \
        SCOPED_TRACE(#T);      \
        RoundTrip<T>();        \
        RoundTrip<Array<T>>(); \
    }
    KIV_FOR_EACH_BASIC_VALUE(KIV_CALL) KIV_FOR_EACH_RECORD(KIV_CALL) KIV_CALL(Array<Posed>)
#undef KIV_CALL
}

TEST_F(ArchiveTypesTest, PlaneIsReadWithAUnitNormal) {
    Planed plane;
    ReadOver(R"({"normal":{"x":0,"y":3,"z":4},"distance":10})", plane);
    EXPECT_EQ(plane.normal, (Vector3d{0, 0.6, 0.8}));
    EXPECT_EQ(plane.distance, 10);
    EXPECT_EQ(Written(Planed{{0, 3, 4}, 10}),
              R"({"normal":{"x":0.0,"y":3.0,"z":4.0},"distance":10.0})");
    ReadOver(R"({"normal":{"x":0,"y":0,"z":0}})", plane);
    EXPECT_TRUE(std::isnan(plane.normal.x));
}

TEST_F(ArchiveTypesTest, MissingFieldKeepsItsValue) {
    Vector3i vector{1, 2, 3};
    ReadOver(R"({"x":7,"z":9})", vector);
    EXPECT_EQ(vector, (Vector3i{7, 2, 9}));
    EXPECT_EQ(log.Take().size(), 1u);

    Value value(Vector3i{1, 2, 3});
    ReadOver(R"({"value":{"y":5}})", value);  // without "type" it is what it was
    EXPECT_EQ(value.Get<Vector3i>(), (Vector3i{1, 5, 3}));
}

TEST_F(ArchiveTypesTest, TimesAndTypesAreFieldsButNoValues) {
    EXPECT_EQ(Written(TimePoint::FromTicks(-5)), R"({"ticks":-5})");
    TimePoint time;
    ReadOver(R"({"ticks":77})", time);
    EXPECT_EQ(time.ToTicks(), 77);
    EXPECT_FALSE(ArchiveSerializer<Value>::value_archive_handles_.contains("class kiv::TimePoint"));

    EXPECT_EQ(Written(Type::Get<int>()), R"({"Type":"int32"})");
    const std::pair<const char*, Type> cases[] = {{R"({"Type":"Object"})", Type::Get<Object>()},
                                                  {R"({"Type":"no such type"})", Type()},
                                                  {"{}", Type::Get<Range>()},
                                                  {R"({"Type":""})", Type()}};
    for (const auto& [text, expected] : cases) {
        Type type = Type::Get<Range>();
        ReadOver(text, type);
        EXPECT_EQ(type, expected) << text;
    }
}

TEST_F(ArchiveTypesTest, UnknownTypeIsToldAndCostsOnlyItself) {
    const std::string message =
        "[tag:kiv::ArchiveSerializer<class kiv::Value,void>::Serialize]Unknown "
        "kiv::Value type: class archivetypes_test::Secret, Please register it like "
        "archiveTypes/archiveTypes. 1. Achive ArchiveSerializer<T>; 2. Define static "
        "ValueArchiveRegistrar<T>.";
    EXPECT_EQ(Written(Value(Late{})), R"({"type":"class archivetypes_test::Late"})");
    EXPECT_EQ(log.Take().size(), 1u);
    EXPECT_EQ(Written(Value(Secret{3})), R"({"type":"class archivetypes_test::Secret"})");
    Value kept(5);
    ReadOver(R"({"type":"class archivetypes_test::Secret","value":{"number":3}})", kept);
    EXPECT_EQ(kept, Value(5));
    EXPECT_THAT(TakeLog(), ::testing::ElementsAre(message, message));

    // With the option, whatever its value is.
    Value secret(Secret{3});
    JsonOutputArchive strict({{"DeserializeValue", Value(false)}});
    EXPECT_THROW(strict.Serialize<Value>("v", secret), std::runtime_error);
    JsonInputArchive strictReader({{"DeserializeValue", Value()}});
    strictReader.FromString(Document(R"({"v":{"type":"class archivetypes_test::Secret"}})"));
    EXPECT_THROW(strictReader.Serialize<Value>("v", secret), std::runtime_error);

    // A handler that comes later is found although the type was met without one.
    const ValueArchiveRegistrar<Late> late("class archivetypes_test::Late");
    EXPECT_EQ(Written(Value(Late{})),
              R"({"type":"class archivetypes_test::Late","value":{"n":4}})");
}

TEST_F(ArchiveTypesTest, StorablePropertiesTravelAndOthersAreLeftAlone) {
    const auto part = MakeRefCounted<Part>();
    part->range = {3, 4};
    part->mode = Mode::On;
    part->hidden = 9;

    const std::string text = JsonForm::Written(
        [&](Archive& archive) { ObjectPropertySerializer::Serialize(archive, part.get()); });

    EXPECT_EQ(
        text,
        Document(
            R"({"range":{"type":"class archivetypes_test::Range","value":{"first":3,"last":4}},)"
            R"("mode":{"type":"int","value":1},"speed":{"type":"int","value":1},)"
            R"("fixed":{"type":"int","value":6}})"));
    EXPECT_EQ(part->speedCalls, 0);  // saving fires no setter

    const auto read = MakeRefCounted<Part>();
    read->hidden = 1;
    read->fixed = 2;
    JsonForm::Read(
        text, [&](Archive& archive) { ObjectPropertySerializer::Serialize(archive, read.get()); });
    EXPECT_EQ(read->range, part->range);
    EXPECT_EQ(read->mode, Mode::On);
    EXPECT_EQ(read->hidden, 1);
    EXPECT_EQ(read->fixed, 2);
}

TEST_F(ArchiveTypesTest, ReferencesAreNarrowedAndWrongOnesRefused) {
    const auto node = MakeRefCounted<SampleNode>();
    const auto fill = [&node](const std::string& next, const std::string& others) {
        const std::string text = Document(
            R"({"next":{"type":"class kiv::RefPtr<class Gone>","value":)" + next +
                R"(},"others":{"type":"class kiv::Array<class kiv::RefPtr<class Gone> >","value":)" +
                others + "}}",
            R"("1":{"count":{"type":"int","value":8},"KIV_TYPE_NAME":"SampleNode"},)"
            R"("2":{"KIV_TYPE_NAME":"Object"},"3":{"KIV_TYPE_NAME":"archivetypes_test::Part"})");
        JsonForm::Read(text, [&](Archive& archive) {
            ObjectPropertySerializer::Serialize(archive, node.get());
        });
    };
    fill(R"({"INSTANCE_ID":1})", R"([{"INSTANCE_ID":1},null,{"INSTANCE_ID":2}])");
    ASSERT_TRUE(node->next);
    EXPECT_EQ(node->next->count, 8);
    EXPECT_THAT(node->others, ::testing::ElementsAre(node->next, nullptr, nullptr));

    // An object of another class is refused where it would be taken for one of this.
    fill(R"({"INSTANCE_ID":3})", R"([{"INSTANCE_ID":1},{"INSTANCE_ID":3}])");
    ASSERT_TRUE(node->next);
    EXPECT_EQ(node->next->count, 8);
    EXPECT_EQ(node->others.size(), 3u);

    fill("null", "[]");
    EXPECT_FALSE(node->next);
    EXPECT_TRUE(node->others.empty());
}

}  // namespace
}  // namespace kiv
