#include "kiv/base/object.h"

#include <gtest/gtest.h>

#include "kiv/base/bufferObject.h"
#include "kiv/base/registration.h"

namespace object_test {

class Counted : public kiv::Object {
    KIV_OBJECT(Counted, kiv::Object)
public:
    Counted() { ++alive; }
    explicit Counted(kiv::ObjectImpl* impl) : Object(impl) { ++alive; }
    static inline int alive = 0;
    double ratio = 0.5;

protected:
    ~Counted() override { --alive; }
};

class Link : public kiv::Object {
    KIV_OBJECT(Link, kiv::Object)
public:
    Link() { ++alive; }
    static inline int alive = 0;
    kiv::RefPtr<Link> next;

protected:
    ~Link() override { --alive; }
};

const bool kCounted = kiv::Registration::Class<Counted>("object_test::Counted")
                          .Property("ratio", &Counted::ratio)
                          .Creatable();

}  // namespace object_test

namespace kiv {

class Parcel {};

namespace {

using object_test::Counted;

TEST(ObjectTest, LivesFromItsMakerToTheLastReference) {
    ASSERT_TRUE(object_test::kCounted);
    {
        RefPtr<Object> object = MakeRefCounted<Counted>();
        EXPECT_EQ(object->RefCount(), 1u);
        const RefPtr<TypedObject> other = object;
        object.reset();
        EXPECT_EQ(Counted::alive, 1);
    }
    { const RefPtr<Counted> bare = MakeRefCounted<Counted>(nullptr); }
    EXPECT_EQ(Counted::alive, 0);
}

TEST(ObjectTest, ChainOfAnyLengthIsLetGo) {
    RefPtr<object_test::Link> head;
    for (int i = 0; i < 1'000'000; ++i) {
        RefPtr<object_test::Link> link = MakeRefCounted<object_test::Link>();
        link->next = std::move(head);
        head = std::move(link);
    }
    EXPECT_EQ(object_test::Link::alive, 1'000'000);
    head.reset();
    EXPECT_EQ(object_test::Link::alive, 0);
}

TEST(ObjectTest, KnowsItsTypeAndBases) {
    const RefPtr<Object> object = MakeRefCounted<Counted>();

    EXPECT_EQ(object->GetType(), Type::Get<Counted>());
    EXPECT_EQ(Object::GetStaticType(), Type::Get<Object>());
    EXPECT_TRUE(object->IsInstanceOf(Object::GetStaticType()));
    EXPECT_TRUE(object->IsInstanceOf<Counted>());
    EXPECT_FALSE(object->IsInstanceOf<BufferObject>());
    EXPECT_FALSE(object->IsInstanceOf(Type()));
}

TEST(ObjectTest, PropertiesAreReachedByName) {
    const RefPtr<Object> object = MakeRefCounted<Counted>();
    Status status = Status::Failure;

    EXPECT_EQ(object->GetProperty("ratio", &status).Get<double>(), 0.5);
    EXPECT_EQ(status, Status::Success);
    EXPECT_EQ(object->SetProperty("ratio", 2.0), Status::Success);
    EXPECT_EQ(object->GetProperty("ratio").Get<double>(), 2.0);
    EXPECT_TRUE(object->GetProperty("other", &status).IsEmpty());
    EXPECT_EQ(status, Status::InvalidParameter);
    EXPECT_TRUE(object->GetProperty("other", nullptr).IsEmpty());
    EXPECT_EQ(object->SetProperty("other", 1), Status::InvalidParameter);
}

TEST(ObjectTest, BaseHasNoNameAndLeavesParcelsAlone) {
    const RefPtr<Object> object = MakeRefCounted<Counted>();
    Parcel parcel;

    object->SetName("anything");
    EXPECT_EQ(object->GetName().data(), nullptr);
    EXPECT_EQ(object->GetName().size(), 0u);
    EXPECT_EQ(&object->Serialize(parcel), &parcel);
    EXPECT_EQ(&object->Deserialize(parcel), &parcel);
}

}  // namespace
}  // namespace kiv
