// What holds of objects in either form.
#include <algorithm>
#include <stdexcept>

#include <gmock/gmock.h>

#include "archive/sampleObjects.h"
#include "kiv/base/archiveTypes.h"
#include "kiv/base/registration.h"

namespace kiv {
namespace testing {

// Both are stored alike, and differ in what they take back.
template <class T>
class SampleTaker : public Object {
    KIV_OBJECT(SampleTaker, Object)

public:
    static bool Register(const char* name) {
        return Registration::Class<SampleTaker>(name)
            .Property("one", &SampleTaker::one)
            .Property("list", &SampleTaker::list)
            .Creatable();
    }

    RefPtr<T> one;
    Array<RefPtr<T>> list;
};

[[maybe_unused]] static const bool taker_registered[] = {
    SampleTaker<Object>::Register("SampleTaker"),
    SampleTaker<SampleScript>::Register("SampleMiser"),
};

}  // namespace testing

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::SampleNode;
using testing::SampleScript;
using Taker = testing::SampleTaker<Object>;
using Miser = testing::SampleTaker<SampleScript>;

template <class Form>
class StoredObjectsTest : public testing::ObjectTest {};
using Forms = ::testing::Types<testing::JsonForm, testing::BinaryForm>;
TYPED_TEST_SUITE(StoredObjectsTest, Forms);

TYPED_TEST(StoredObjectsTest, SharedAndCircularReferencesComeBack) {
    auto first = MakeRefCounted<SampleNode>();
    auto second = MakeRefCounted<SampleNode>();
    first->title = "first";
    first->next = second;
    first->others = {second, nullptr, first};
    second->next = first;
    const auto body = [&](Archive& archive) {
        archive.Serialize<SampleNode>("a", first).Serialize<SampleNode>("b", second);
    };
    const auto stored = TypeParam::Written(body);
    const RefPtr<SampleNode> written = first;
    TypeParam::Read(stored, body);

    ASSERT_TRUE(first && first->next);
    EXPECT_NE(first, written);
    EXPECT_EQ(first->title, "first");
    EXPECT_EQ(first->next->next, first);
    EXPECT_EQ(first->next, second);
    EXPECT_THAT(first->others, ElementsAre(second, nullptr, first));
    EXPECT_THAT(this->log.Take(), IsEmpty());
}

TYPED_TEST(StoredObjectsTest, WeakReferencesBringNothingAlongAndAreSteppedOver) {
    auto object = MakeRefCounted<SampleScript>();
    int contents = 0;
    SampleScript::body = [&](SampleScript&, Archive&) { ++contents; };
    detail::WeakPtrFlag* const flag = new detail::WeakPtrFlag;
    WeakPtr<Object> weak(object.get(), flag);
    Array<WeakPtr<Object>> weak_list = {weak, WeakPtr<Object>()};
    Array<RefPtr<Object>> list;
    const auto body = [&](Archive& archive) {
        archive.SerializeObject("weak", weak).SerializeObjectArray("weak list", weak_list);
        archive.SerializeObjectArray("list", list);
    };
    TypeParam::Written(body);
    EXPECT_EQ(contents, 0);
    list = {nullptr, object, object};
    const auto stored = TypeParam::Written(body);
    EXPECT_EQ(contents, 1);
    list.clear();
    TypeParam::Read(stored, body);

    EXPECT_EQ(weak.get(), object.get());
    EXPECT_EQ(weak_list.size(), 2u);
    ASSERT_EQ(list.size(), 3u);
    EXPECT_FALSE(list[0]);
    EXPECT_TRUE(list[1] && list[1] != object);
    EXPECT_EQ(list[1], list[2]);
    EXPECT_EQ(contents, 2);
    flag->Release();
}

TYPED_TEST(StoredObjectsTest, AnObjectThatGoesMeanwhileLendsItsIdToNoOther) {
    SampleScript::body = [](SampleScript&, Archive&) {};
    RefPtr<Object> objects[20];
    const auto stored = TypeParam::Written([&](Archive& archive) {
        for (std::size_t i = 0; i < std::size(objects); ++i) {
            RefPtr<Object> passing = MakeRefCounted<SampleScript>();
            archive.SerializeObject(std::to_string(i), passing);
        }
    });
    TypeParam::Read(stored, [&](Archive& archive) {
        for (std::size_t i = 0; i < std::size(objects); ++i)
            archive.SerializeObject(std::to_string(i), objects[i]);
    });
    std::set<Object*> distinct;
    for (const RefPtr<Object>& object : objects)
        distinct.insert(object.get());
    EXPECT_EQ(distinct.size(), std::size(objects));
    EXPECT_FALSE(distinct.contains(nullptr));
}

TYPED_TEST(StoredObjectsTest, WhatThrowsLeavesNoTrace) {
    // Both read and write themselves at once, and one of them may throw behind it.
    const Object* thrower = nullptr;
    RefPtr<Object> inner = MakeRefCounted<SampleScript>();
    RefPtr<Object> outer = MakeRefCounted<SampleScript>();
    static_cast<SampleScript&>(*outer).reference = inner;
    SampleScript::body = [&](SampleScript& self, Archive& archive) {
        archive.SerializeObject("reference", self.reference);
        if (archive.IsRead() || &self == thrower) {
            archive.BeginObject("open");
            throw std::runtime_error("enough");
        }
    };
    const auto write = [&](Archive& archive) {
        int number = 5;
        archive.SerializeInt32("number", number);
        if (thrower) {
            EXPECT_THROW(archive.SerializeObject("outer", outer), std::runtime_error);
            thrower = nullptr;
        }
        archive.SerializeObject("inner", inner).SerializeObject("outer", outer);
    };
    const auto stored = TypeParam::Written(write);
    thrower = outer.get();
    EXPECT_EQ(TypeParam::Written(write), stored);

    // A ring, which would hold itself when the reading is given up.
    static_cast<SampleScript&>(*inner).reference = outer;
    const auto ring =
        TypeParam::Written([&](Archive& archive) { archive.SerializeObject("outer", outer); });
    static_cast<SampleScript&>(*inner).reference = nullptr;
    RefPtr<Object> read;
    EXPECT_THROW(
        TypeParam::Read(ring, [&](Archive& archive) { archive.SerializeObject("outer", read); }),
        std::runtime_error);
    EXPECT_EQ(SampleScript::alive, 2);
}

TYPED_TEST(StoredObjectsTest, RefusedOnesGoWithTheArchiveAlsoIfTheyHoldEachOther) {
    for (const bool in_list : {false, true}) {
        SCOPED_TRACE(in_list);
        auto ring = MakeRefCounted<SampleNode>();
        ring->next = ring;
        auto taker = MakeRefCounted<Taker>();
        if (in_list)
            taker->list = {nullptr, ring};
        else
            taker->one = ring;
        auto stored = TypeParam::Written([&](Archive& archive) {
            archive.Serialize<Taker>("taker", taker).Serialize<SampleNode>("ring", ring);
        });
        taker = nullptr;
        ring = nullptr;
        SampleNode::CutAll();
        ASSERT_THAT(SampleNode::living, IsEmpty());

        // The properties of another class, which take no node.
        const std::string from = "SampleTaker";
        const std::string to = "SampleMiser";
        for (auto at = stored.begin(); at != stored.end();) {
            at = std::search(at, stored.end(), from.begin(), from.end());
            if (at != stored.end())
                at = std::copy(to.begin(), to.end(), at);
        }
        RefPtr<Miser> miser;
        TypeParam::Read(stored,
                        [&](Archive& archive) { archive.Serialize<Miser>("taker", miser); });
        ASSERT_TRUE(miser);
        EXPECT_FALSE(miser->one);
        EXPECT_THAT(miser->list, IsEmpty());
        EXPECT_THAT(SampleNode::living, IsEmpty());

        // And where a reference to another class is read.
        RefPtr<SampleScript> script;
        TypeParam::Read(stored, [&](Archive& archive) {
            archive.Serialize<Miser>("taker", miser).Serialize<SampleScript>("ring", script);
        });
        EXPECT_FALSE(script);
        EXPECT_THAT(SampleNode::living, IsEmpty());
    }
}

// An object may write references that it doesn't own. They don't make up for those of the caller.
TYPED_TEST(StoredObjectsTest, WhatTheCallerGotIsLeftAlone) {
    RefPtr<Object> root = MakeRefCounted<SampleScript>();
    static_cast<SampleScript&>(*root).reference = MakeRefCounted<SampleScript>();
    Object* parent = root.get();
    SampleScript::body = [&parent](SampleScript& self, Archive& archive) {
        RefPtr<SampleNode> refused;
        RefPtr<Object> back(self.reference ? nullptr : parent);
        archive.SerializeObject("child", self.reference).SerializeObject("back", back);
        if (archive.IsRead())
            archive.Serialize<SampleNode>("child", refused);
    };
    const auto stored =
        TypeParam::Written([&](Archive& archive) { archive.SerializeObject("root", root); });
    TypeParam::Read(stored, [&](Archive& archive) {
        archive.SerializeObject("root", root);
        parent = root.get();
    });
    ASSERT_TRUE(root);
    EXPECT_TRUE(static_cast<SampleScript&>(*root).reference);
}

}  // namespace
}  // namespace kiv
