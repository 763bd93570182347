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
    kiv::RefPtr<Counted> next;

protected:
    ~Counted() override { --alive; }
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
    RefPtr<Counted> head;
    for (int i = 0; i < 1'000'000; ++i) {
        RefPtr<Counted> link = MakeRefCounted<Counted>();
        link->next = std::move(head);
        head = std::move(link);
    }
    EXPECT_EQ(Counted::alive, 1'000'000);
    head.reset();
    EXPECT_EQ(Counted::alive, 0);
}

TEST(ObjectTest, AnswersByItsOwnType) {
    const RefPtr<Object> object = MakeRefCounted<Counted>();
    Status status = Status::Failure;

    EXPECT_EQ(object->GetType(), Type::Get<Counted>());
    EXPECT_TRUE(object->IsInstanceOf(Object::GetStaticType()));
    EXPECT_TRUE(object->IsInstanceOf<Counted>());
    EXPECT_FALSE(object->IsInstanceOf<BufferObject>());
    EXPECT_FALSE(object->IsInstanceOf(Type()));
    EXPECT_EQ(object->GetProperty("ratio", &status).Get<double>(), 0.5);
    EXPECT_EQ(status, Status::Success);
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
    EXPECT_EQ(&object->Serialize(parcel), &parcel);
    EXPECT_EQ(&object->Deserialize(parcel), &parcel);
}

}  // namespace
}  // namespace kiv
