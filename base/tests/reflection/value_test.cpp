#include "kiv/base/value.h"

#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "kiv/base/object.h"
#include "kiv/base/registration.h"
#include "support/runTogether.h"

namespace value_test {

enum class Mode : short { Off, On };

/// Counts its copies, and throws from the copy when told so.
struct Payload {
    static inline int alive = 0;
    static inline bool throws = false;
    int number = 0;

    Payload() { ++alive; }
    explicit Payload(int n) : number(n) { ++alive; }
    Payload(const Payload& other) : number(other.number) {
        if (throws)
            throw std::runtime_error("no copy today");
        ++alive;
    }
    ~Payload() { --alive; }
    bool operator==(const Payload& other) const { return number == other.number; }
};

class Node : public kiv::Object {
    KIV_OBJECT(Node, kiv::Object)
public:
    int number = 0;
};
class Leaf : public Node {
    KIV_OBJECT(Leaf, Node)
};
class Stranger : public kiv::Object {
    KIV_OBJECT(Stranger, kiv::Object)
};

const bool kRegistered[] = {
    kiv::Registration::Class<Node>("value_test::Node").Creatable(),
    kiv::Registration::Class<Leaf>("value_test::Leaf").Creatable(),
    kiv::Registration::Class<Stranger>("value_test::Stranger").Creatable(),
};

}  // namespace value_test

namespace kiv {
namespace {

using value_test::Leaf;
using value_test::Mode;
using value_test::Node;
using value_test::Payload;
using value_test::Stranger;

template <class T>
constexpr bool kTakes = std::is_constructible_v<Value, T>;
static_assert(!kTakes<const char*> && !kTakes<const char (&)[4]> && !kTakes<char>);
static_assert(!kTakes<void*> && !kTakes<int*> && !kTakes<std::nullptr_t> && !kTakes<wchar_t>);
static_assert(!kTakes<StringView> && !kTakes<std::string_view>);
static_assert(!kTakes<Array<Array<RefPtr<Object>>>>);
static_assert(kTakes<long> && kTakes<long long> && kTakes<unsigned long long> && kTakes<Mode>);
static_assert(detail::is_local_value<Vector2f> && detail::is_local_value<Color>);
static_assert(!detail::is_local_value<Vector3f> && !detail::is_local_value<Colorf>);
static_assert(!detail::is_local_value<RefPtr<Object>> && !detail::is_local_value<Token>);

template <class T>
void ComesBackFromAValue() {
    const T made = T();
    Value value(made);
    Status status = Status::Failure;

    EXPECT_EQ(value.GetType(), Type::Get<T>());
    EXPECT_TRUE(value.Get<T>(&status) == made);
    EXPECT_EQ(status, Status::Success);
    const Value copy = value;
    EXPECT_TRUE(copy == value);
    EXPECT_TRUE(Value(made) == value);
    EXPECT_FALSE(copy == Value(Payload(1)));
    Value moved = std::move(value);
    EXPECT_TRUE(value.IsEmpty());
    EXPECT_TRUE(moved == copy);
    EXPECT_FALSE(moved == value);

    EXPECT_TRUE(Value().Get<T>(&status) == T());
    EXPECT_EQ(status, Status::InvalidCast);
    EXPECT_EQ(&value.Get<T>(), &value.Get<T>());  // one default instance for all
    Value().Get<T>(nullptr);
}

TEST(ValueTest, EveryTypeComesBackAsWhatWentIn) {
#define KIV_CALL(T)                      \
    {                                    \
        SCOPED_TRACE(#T);                \
        ComesBackFromAValue<T>();        \
        ComesBackFromAValue<Array<T>>(); \
    }
    KIV_FOR_EACH_BASIC_VALUE(KIV_CALL)
    KIV_FOR_EACH_RECORD(KIV_CALL)
    KIV_CALL(Token)
#undef KIV_CALL
    ComesBackFromAValue<Array<Array<Posed>>>();
    ComesBackFromAValue<Mode>();
}

TEST(ValueTest, ValuesOfDifferentTypesAreNeverEqual) {
    EXPECT_EQ(Value(), Value());
    EXPECT_NE(Value(), Value(0));
    EXPECT_NE(Value(1), Value(1.0));
    EXPECT_EQ(Value(1.5f), Value(1.5f));
    EXPECT_NE(Value(std::numeric_limits<float>::quiet_NaN()),
              Value(std::numeric_limits<float>::quiet_NaN()));
    EXPECT_EQ(Value(Vector2d{1, 2}), Value(Vector2d{1 + 1e-7, 2}));
}

TEST(ValueTest, SixtyFourBitIntegersAreHeldAsOneTypeAndReadAsNoOther) {
    const long long number = -5'000'000'000;
    const Value value(number);

    EXPECT_EQ(value.GetType(), Type::Get<int64>());
    EXPECT_EQ(value.Get<int64>(), number);
    EXPECT_EQ(value.Get<long>(), number);
    EXPECT_EQ(value.Get<long long>(), number);
    EXPECT_EQ(Value(5ull).GetType(), Type::Get<uint64>());

    Status status;
    EXPECT_EQ(value.Get<double>(&status), 0.0);
    EXPECT_EQ(status, Status::InvalidCast);
    EXPECT_EQ(value.Get<int64>(&status), number);
    EXPECT_EQ(status, Status::Success);
}

TEST(ValueTest, CopiesShareTheBlockWhichLivesAsLongAsAnyNeedIt) {
    {
        Value value{Payload(3)};
        EXPECT_EQ(Payload::alive, 1);
        Value copy = value;
        EXPECT_EQ(&copy.Get<Payload>(), &value.Get<Payload>());
        EXPECT_EQ(Payload::alive, 1);

        Value& self = copy;
        copy = self;
        EXPECT_EQ(copy.Get<Payload>().number, 3);
        copy = std::move(self);
        value = Value(1);
        EXPECT_EQ(Payload::alive, 1);
        copy = value;
        EXPECT_EQ(Payload::alive, 0);
    }
    // Contents that hold the next value: the old ones go last.
    Value list{Array<std::string>{"a"}};
    list = Value(list.Get<Array<std::string>>()[0]);
    EXPECT_EQ(list.Get<std::string>(), "a");
    // A value that goes gives its contents away.
    const std::string& text = Value(std::string("kept")).Get<std::string>();
    EXPECT_EQ(text, "kept");
}

TEST(ValueTest, CopyThatThrowsLeavesNothingBehind) {
    const Payload payload(7);
    Payload::throws = true;
    EXPECT_THROW(Value{payload}, std::runtime_error);
    Value value(5);
    EXPECT_THROW(value = Value(payload), std::runtime_error);
    Payload::throws = false;
    EXPECT_EQ(value.Get<int>(), 5);
    EXPECT_EQ(Payload::alive, 1);
}

TEST(ValueTest, ReferencesPassForThoseToTheirBases) {
    const RefPtr<Leaf> leaf = MakeRefCounted<Leaf>();
    const Value value(leaf);
    Status status;

    EXPECT_EQ(value.Get<RefPtr<Object>>(&status), leaf);
    EXPECT_EQ(status, Status::Success);
    EXPECT_EQ(value.Get<RefPtr<Node>>(), leaf);
    EXPECT_EQ(value.Get<RefPtr<Leaf>>(), leaf);
    EXPECT_EQ(value.Get<RefPtr<Stranger>>(&status), nullptr);
    EXPECT_EQ(status, Status::InvalidCast);
    EXPECT_EQ(Value(RefPtr<Node>(leaf)).Get<RefPtr<Leaf>>(&status), nullptr);
    EXPECT_EQ(status, Status::InvalidCast);
    EXPECT_EQ(leaf->RefCount(), 2u);

    const Value null{RefPtr<Object>()};  // holds a reference, which is to no object
    EXPECT_TRUE(null.Is<RefPtr<Object>>());
    for (const Value& none : {null, Value(5)}) {
        status = Status::Success;
        EXPECT_EQ(none.Get<RefPtr<Object>>(&status), nullptr);
        EXPECT_EQ(status, Status::InvalidCast);
    }
}

// Both compilers break a read of the one array through the type of the other when they optimize, so
// this file is compiled with optimization in every build.
TEST(ValueTest, ArrayOfReferencesIsReadAsOneOfBaseReferences) {
    Array<RefPtr<Leaf>> leaves;
    for (int i = 0; i < 3; ++i)
        leaves.emplace_back(MakeRefCounted<Leaf>());
    leaves.emplace_back(RefPtr<Leaf>());
    Value value(leaves);
    Status status = Status::Failure;

    for (int round = 0; round < 2; ++round) {
        const Array<RefPtr<Object>> objects = value.Get<Array<RefPtr<Object>>>(&status);
        EXPECT_EQ(status, Status::Success);
        ASSERT_EQ(objects.size(), leaves.size());
        for (uint64 i = 0; i < objects.size(); ++i)
            EXPECT_EQ(objects[i].get(), std::as_const(leaves)[i].get());
        leaves[0] = MakeRefCounted<Leaf>();
        value = Value(leaves);
    }
    EXPECT_EQ(value.Get<Array<RefPtr<Node>>>().size(), 4u);
    EXPECT_EQ(value.Get<Array<RefPtr<Stranger>>>(&status).size(), 0u);
    EXPECT_EQ(status, Status::InvalidCast);
    status = Status::Success;
    EXPECT_EQ(Value(1).Get<Array<RefPtr<Object>>>(&status).size(), 0u);
    EXPECT_EQ(status, Status::InvalidCast);
}

TEST(ValueTest, SharedBlockMayBeCopiedOnSeveralThreads) {
    const Value value{std::string(100, 'x')};
    testing::RunTogether(4, [&value](int) {
        for (int round = 0; round < 2000; ++round) {
            const Value copy = value;
            ASSERT_EQ(copy.Get<std::string>().size(), 100u);
            ASSERT_EQ(copy.Get<Vector4i>(), Vector4i());
        }
    });
}

}  // namespace
}  // namespace kiv
