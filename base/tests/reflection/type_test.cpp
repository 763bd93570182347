#include "kiv/base/type.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kiv/base/arrayRange.h"
#include "kiv/base/bufferObject.h"
#include "kiv/base/flatMap.h"
#include "kiv/base/object.h"
#include "kiv/base/registration.h"
#include "kiv/base/typeRegistry.h"
#include "support/logCatcher.h"
#include "support/runTogether.h"

namespace type_test {

struct Base {};
struct Derived : Base {};
struct Racing {};
struct Unregistered {};
struct Lookalike {};
struct First {};
struct Second {};

class Node : public kiv::Object {
    KIV_OBJECT(Node, kiv::Object)
};

}  // namespace type_test

KIV_BASE_CLASSES(type_test::Derived, type_test::Base)
KIV_RAW_NAME(::type_test::Lookalike, "class type_test::Unregistered")

namespace kiv {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;

TEST(TypeTest, BuiltInTypesHaveTheirRecords) {
    const struct {
        Type type;
        const char* name;
        const char* rawName;
        uint64 size;
        bool arithmetic, pointer, vector;
    } cases[] = {
        {Type::Get<bool>(), "bool", "bool", 1, true, false, false},
        {Type::Get<unsigned char>(), "uint8", "unsigned char", 1, true, false, false},
        {Type::Get<int>(), "int32", "int", 4, true, false, false},
        {Type::Get<char>(), "char", "char", 1, true, false, false},
        {Type::Get<int64>(), "", "__int64", 8, true, false, false},
        {Type::Get<Object>(), "Object", "class kiv::Object", sizeof(Object), false, false, false},
        {Type::Get<Object*>(), "", "class kiv::Object*", 8, false, true, false},
        {Type::Get<Array<float>>(), "FloatArray", "class kiv::Array<float>", 24, false, false,
         true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.rawName);
        EXPECT_EQ(c.type.GetName(), StringView(c.name));
        EXPECT_EQ(c.type.GetRawName(), StringView(c.rawName));
        EXPECT_EQ(c.type.GetTypeSize(), c.size);
        EXPECT_EQ(c.type.IsArithmetic(), c.arithmetic);
        EXPECT_EQ(c.type.IsPointer(), c.pointer);
        EXPECT_EQ(c.type.IsVector(), c.vector);
        EXPECT_TRUE(c.type.IsAbstract());
        EXPECT_EQ(Type::Find(c.type.GetTypeid()), c.type);
        EXPECT_EQ(TypeRegistry::GetInstance().FindTypeByTypeName(c.rawName), c.type);
        EXPECT_EQ(Type::Find(c.name), *c.name ? c.type : Type());
    }
    EXPECT_EQ(detail::TypeShape<Array<float>>::Traits().to_ulong(), 1029u);
    EXPECT_EQ(Type::Find("string"), Type::Get<std::string>());
}

TEST(TypeTest, AnyStandsForTheAbsenceOfAType) {
    EXPECT_EQ(Type::Find("Any"), Type());
    EXPECT_EQ(Type::Find("no such type"), Type());
    EXPECT_EQ(Type::Find(typeid(void (*)(Type))), Type());
    EXPECT_EQ(Type().GetName(), StringView("Any"));
    EXPECT_EQ(Type().GetRawType(), Type());
    EXPECT_FALSE(Type().IsWrapper());
    EXPECT_TRUE(Type().GetProperties().empty());
    Status status;
    EXPECT_TRUE(Type().CreateInstance(&status).IsEmpty());
    EXPECT_EQ(status, Status::Failure);
}

TEST(TypeTest, HandlesLeadToThePartsAndTheBasesOfAType) {
    EXPECT_EQ(Type::Get<Object*>().GetRawType(), Type::Get<Object>());
    EXPECT_EQ(Type::Get<int>().GetRawType(), Type::Get<int>());
    EXPECT_TRUE(Type::Get<RefPtr<Object>>().IsWrapper());
    EXPECT_EQ(Type::Get<RefPtr<Object>>().GetWrappedType(), Type::Get<Object*>());
    EXPECT_FALSE(Type::Get<Object>().IsWrapper());
    EXPECT_EQ(Type::Get<Array<int>>().GetRawArrayType(), Type::Get<int>());
    EXPECT_EQ(Type::Get<const int&>(), Type::Get<int>());
    EXPECT_EQ(Type::Get<BufferObject>().GetBaseType(), Type());

    // The base was defined behind its derived class, and is found from both.
    EXPECT_TRUE(Type::Get<Object>().IsBaseOf(Type::Get<BufferObject>()));
    EXPECT_TRUE(Type::Get<Object*>().IsBaseOf(Type::Get<BufferObject>()));
    EXPECT_TRUE(Type::Get<Object>().IsBaseOf(Type::Get<Object>()));
    EXPECT_FALSE(Type::Get<BufferObject>().IsBaseOf(Type::Get<Object>()));
    EXPECT_EQ(*Type::Get<BufferObject>().GetBaseTypes().begin(), Type::Get<Object>());
}

TEST(TypeTest, TypeIsLetsOnlyThroughWhatCanStandForTheOther) {
    rttr::MakeTypeInfo::DefineType<type_test::Node>("type_test::Node", nullptr);
    rttr::MakeTypeInfo::DefineType<type_test::Derived>("type_test::Derived", nullptr);
    using type_test::Base;
    using type_test::Derived;
    using type_test::Node;
    const struct {
        Type a, b;
        bool is;
    } cases[] = {
        {Type::Get<Node>(), Type::Get<Object>(), true},
        {Type::Get<Object>(), Type::Get<Node>(), false},
        {Type::Get<RefPtr<Node>>(), Type::Get<RefPtr<Object>>(), true},
        {Type::Get<RefPtr<Object>>(), Type::Get<RefPtr<Node>>(), false},
        {Type::Get<Array<RefPtr<Node>>>(), Type::Get<Array<RefPtr<Object>>>(), true},
        {Type::Get<Array<RefPtr<Object>>>(), Type::Get<Array<RefPtr<Node>>>(), false},
        {Type::Get<Derived>(), Type::Get<Base>(), true},
        {Type::Get<Array<Derived>>(), Type::Get<Array<Base>>(), false},
        {Type::Get<Array<Base*>>(), Type::Get<Array<Base>>(), false},
        {Type::Get<Array<Base>>(), Type::Get<Array<Base*>>(), false},
        {Type::Get<int>(), Type::Get<double>(), false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.a.GetRawName()) + " as " + std::string(c.b.GetRawName()));
        EXPECT_EQ(TypeIs(c.a, c.b), c.is);
    }
}

TEST(TypeRegistryTest, FirstDeclarationAndFirstNameStay) {
    const Type first = Type::Declare<type_test::First>();
    const Type again = rttr::MakeTypeInfo::DeclareType(typeid(type_test::First), "another text",
                                                       Type(), Type(), Type(), 99, {});
    EXPECT_EQ(again, first);
    EXPECT_EQ(first.GetTypeSize(), sizeof(type_test::First));

    TypeRegistry& registry = TypeRegistry::GetInstance();
    const Type second = Type::Declare<type_test::Second>();
    EXPECT_EQ(registry.DefineType(first, "type_test::First", nullptr), Status::Success);
    EXPECT_EQ(registry.DefineType(second, "type_test::First", nullptr), Status::InvalidOperation);
    EXPECT_EQ(Type::Find("type_test::First"), first);
    EXPECT_EQ(second.GetName(), StringView());
    // The key of the old name is a view of the record's name, so that one is not replaced.
    EXPECT_EQ(registry.DefineType(first, "type_test::Renamed", nullptr), Status::InvalidOperation);
    EXPECT_EQ(Type::Find("type_test::First"), first);
    EXPECT_EQ(Type::Find("type_test::Renamed"), Type());
}

TEST(TypeRegistryTest, TwoTypesWithOneRawNameAreReported) {
    const Type first = Type::Declare<type_test::Unregistered>();
    testing::LogCatcher log;

    const Type second = Type::Declare<type_test::Lookalike>();

    EXPECT_NE(first, second);
    EXPECT_EQ(TypeRegistry::GetInstance().FindTypeByTypeName("class type_test::Unregistered"),
              first);
    const auto lines = log.Take();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0].payload, ::testing::HasSubstr("class type_test::Unregistered"));
}

TEST(TypeRegistryTest, RacingDeclarationsMeetOnOneRecord) {
    std::vector<Type> types(8);
    testing::RunTogether(8, [&types](int number) {
        types[number] = rttr::MakeTypeInfo::DeclareType(
            typeid(type_test::Racing), "class type_test::Racing", Type(), Type(), Type(), 1, {});
    });
    EXPECT_THAT(types, Each(Type::Declare<type_test::Racing>()));
}

TEST(FlatMapTest, KeysOfEqualHashAreAllFoundAndTheFirstValueStays) {
    struct SameHash {
        uint64 operator()(int) const { return 7; }
    };
    FlatMap<int, std::string, SameHash> map;
    EXPECT_TRUE(map.insert(1, "one"));
    EXPECT_TRUE(map.insert(2, "two"));
    EXPECT_FALSE(map.insert(1, "uno"));
    EXPECT_EQ(*map.find(1), "one");
    EXPECT_EQ(*map.find(2), "two");
    EXPECT_EQ(map.find(3), nullptr);
    EXPECT_EQ(map.findKeyConst(2), 1u);
    EXPECT_EQ(map.findKeyConst(3), map.size());
}

TEST(FlatMapTest, StringHashIsTheOneOfTheTable) {
    // One step each of (hash ^ character) * prime from the 32-bit basis, characters sign-extended.
    EXPECT_EQ(FlatMapHash<StringView>()(""), 0xcbf29ce4u);
    EXPECT_EQ(FlatMapHash<StringView>()("a"), (0xcbf29ce4ull ^ 0x61) * 16777619);
    EXPECT_EQ(FlatMapHash<StringView>()("\xff"), (0xcbf29ce4ull ^ ~0ull) * 16777619);

    FlatMap<std::string, int> map;
    for (int i = 0; i < 500; ++i)
        map.insert("name" + std::to_string(i), i);
    for (int i = 0; i < 500; ++i)
        EXPECT_EQ(*map.find("name" + std::to_string(i)), i);
}

TEST(ArrayRangeTest, StepsOverWhatThePredicateRejects) {
    const std::vector<int> list = {1, 2, 3, 4, 5, 6};
    const array_range<int> all(list.data(), list.size());
    const array_range<int> even(list.data(), list.size(), {[](int i) { return i % 2 == 0; }});
    const array_range<int> none(list.data(), list.size(), {[](int) { return false; }});

    EXPECT_EQ(all.size(), 6u);
    EXPECT_THAT(std::vector<int>(even.begin(), even.end()), ElementsAre(2, 4, 6));
    EXPECT_THAT(std::vector<int>(even.crbegin(), even.crend()), ElementsAre(6, 4, 2));
    EXPECT_EQ(*--even.end(), 6);
    EXPECT_EQ(even.size(), 3u);
    EXPECT_TRUE(none.empty());
    EXPECT_TRUE(array_range<int>().empty());
}

}  // namespace
}  // namespace kiv
