// A plain member passes through archives in place, and a property behind accessors by way of a
// `Value`. Nobody can tell the two apart.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "archive/sampleObjects.h"
#include "kiv/base/archiveTypes.h"
#include "kiv/base/binarySerializer.h"
#include "kiv/base/jsonSerializer.h"
#include "kiv/base/registration.h"

namespace kiv {
namespace testing {

// Not the first base, so that the members lie elsewhere in the object than in the class.
struct SampleOther {
    virtual ~SampleOther() = default;
    double other = 0;
};

class SampleMembers : public SampleOther, public Object {
    KIV_OBJECT(SampleMembers, Object)

public:
    int number = 7;
    Color color{1, 2, 3, 4};
    std::string text = "old";
    Array<int> list = {1};
    RefPtr<SampleNode> one;
    Array<RefPtr<SampleNode>> many;
};

// The same properties, of which none is a plain member.
class SampleAccessors : public SampleMembers {
    KIV_OBJECT(SampleAccessors, Object)
};

class Unregistered : public SampleNode {
    KIV_OBJECT(Unregistered, SampleNode)
};

template <class M>
static auto Getter(M SampleMembers::*member) {
    return [member](const SampleAccessors& object) -> const M& { return object.*member; };
}
template <class M>
static auto Setter(M SampleMembers::*member) {
    return [member](SampleAccessors& object, const M& value) { object.*member = value; };
}

#define KIV_FOR_EACH_SAMPLE_MEMBER(X) X(number) X(color) X(text) X(list) X(one) X(many)
#define KIV_MEMBER(name) .Property(#name, &SampleMembers::name)
#define KIV_ACCESSORS(name) \
    .Property(#name, Getter(&SampleMembers::name), Setter(&SampleMembers::name))
[[maybe_unused]] static const bool members_registered[] = {
    Registration::Class<SampleMembers>("SampleMember") KIV_FOR_EACH_SAMPLE_MEMBER(KIV_MEMBER)
        .Creatable(),
    Registration::Class<SampleAccessors>("SampleAccess") KIV_FOR_EACH_SAMPLE_MEMBER(KIV_ACCESSORS)
        .Creatable(),
};
#undef KIV_ACCESSORS
#undef KIV_MEMBER

}  // namespace testing

namespace {

using testing::LogCatcher;
using testing::Replaced;
using testing::SampleAccessors;
using testing::SampleMembers;
using testing::SampleNode;
using testing::SampleScript;
using testing::WithoutIds;

std::string Text(const RefPtr<Object>& object) {
    JsonSerializer serializer({});
    EXPECT_TRUE(serializer.Serialize(object));
    return serializer.GetSerializeString(nullptr);
}

// What is read of the text as that class, printed, with what was logged.
std::string ReadAs(const char* type, const std::string& text) {
    LogCatcher log;
    JsonSerializer serializer({});
    serializer.SetSerializeString(Replaced(text, "SampleMember", type));
    const RefPtr<Object> object = serializer.Deserialize("", nullptr);
    if (!object)
        return "nothing";
    std::string result = WithoutIds(Replaced(Text(object), type, "class"));
    for (const auto& line : log.Take())
        result += '\n' + line.payload;
    SampleNode::CutAll();
    return result;
}

RefPtr<SampleMembers> Filled() {
    auto object = MakeRefCounted<SampleMembers>();
    object->number = 5;
    object->color = Color{9, 8, 7, 6};
    object->text = "a text that lies on the heap";
    object->list = {4, 5, 6};
    object->one = MakeRefCounted<SampleNode>();
    object->many = {object->one, nullptr, MakeRefCounted<SampleNode>()};
    return object;
}

using PropertyPlanTest = testing::ObjectTest;

TEST_F(PropertyPlanTest, MembersAndAccessorsReadAlikeWhateverIsStored) {
    const std::string good = Text(Filled());
    for (const char* type : {"SampleMember", "SampleAccess"})
        EXPECT_EQ(ReadAs(type, good), WithoutIds(Replaced(good, "SampleMember", "class")));

    const std::string type = "\"type\":\"";
    const std::string changes[][2] = {
        {type + "int\"", type + "double\""},        // known, and another
        {type + "int\"", type + "class Nobody\""},  // unknown
        {type, "\"tipe\":\""},                      // none at all
        {"\"value\"", "\"walue\""},
        {type + "class kiv::Color", type + "class kiv::Colorf"},
        {"class kiv::RefPtr<class kiv::testing::SampleNode>", "class kiv::RefPtr<class Gone>"},
        {"class kiv::Array<class kiv::RefPtr<", "class kiv::RefPtr<class kiv::RefPtr<"},
        {"\"SampleNode\"", "\"Sample\\\"Script\""},  // objects that fit nowhere
        {"null", "{\"INSTANCE_ID\":1}"},
        {"[4,5,6]", "{}"},
        {"9", "\"nine\""},
    };
    SampleScript::body = [](SampleScript&, Archive&) {};
    for (const auto& [from, to] : changes) {
        SCOPED_TRACE(from + " -> " + to);
        const std::string changed = Replaced(good, from, to);
        EXPECT_NE(changed, good);
        EXPECT_EQ(ReadAs("SampleMember", changed), ReadAs("SampleAccess", changed));
    }
}

TEST_F(PropertyPlanTest, MembersAndAccessorsAreWrittenAlike) {
    const RefPtr<SampleMembers> members = Filled();
    // One that can't be read back, since nobody registered its class.
    members->one = MakeRefCounted<testing::Unregistered>();
    members->many = {members->one, MakeRefCounted<SampleNode>()};
    auto accessors = MakeRefCounted<SampleAccessors>();
#define KIV_COPY(name) accessors->name = members->name;
    KIV_FOR_EACH_SAMPLE_MEMBER(KIV_COPY)
#undef KIV_COPY
    const auto neutral = [](const RefPtr<Object>& object, const char* type) {
        return WithoutIds(Replaced(Text(object), type, "class"));
    };
    EXPECT_EQ(neutral(members, "SampleMember"), neutral(accessors, "SampleAccess"));

    BinarySerializer binary({});
    ASSERT_TRUE(binary.Serialize(members));
    const std::size_t size = binary.GetBuffer().size();
    ASSERT_TRUE(binary.Serialize(accessors));
    EXPECT_EQ(binary.GetBuffer().size(), size);
}

TEST_F(PropertyPlanTest, AReplacedHandlerIsCalledFromThenOn) {
    auto object = MakeRefCounted<SampleMembers>();
    const std::string before = Text(object);
    auto& handler = ArchiveSerializer<Value>::value_archive_handles_.at("int");
    const auto original = handler;
    handler = [&](Archive& archive, const StringView&, Value& value) {
        original(archive, "worth", value);
    };
    const std::string after = Text(object);
    handler = original;

    EXPECT_NE(after.find("\"number\":{\"type\":\"int\",\"worth\":7}"), std::string::npos);
    EXPECT_EQ(Text(object), before);
}

TEST_F(PropertyPlanTest, AHandlerOfAnotherTypeUnderTheNameHarmsNothing) {
    ArchiveSerializer<Value>::RegisterValueArchiveType<Matrix4d>("class kiv::Color");
    const std::string text = Text(MakeRefCounted<SampleMembers>());
    EXPECT_EQ(ReadAs("SampleMember", text), ReadAs("SampleAccess", text));
    ArchiveSerializer<Value>::RegisterValueArchiveType<Color>("class kiv::Color");
    EXPECT_NE(Text(MakeRefCounted<SampleMembers>()), text);
}

}  // namespace
}  // namespace kiv
