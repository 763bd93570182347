#include "kiv/base/propertyInfo.h"

#include <memory>

#include <gtest/gtest.h>

#include "kiv/base/enum.h"

namespace kiv {
namespace {

class BareProperty : public PropertyInfoImpl {
public:
    explicit BareProperty(PropertyFlags flags = PropertyFlags::Readable, int offset = 8)
        : PropertyInfoImpl("bare", Type::Get<int>(), static_cast<unsigned int>(flags),
                           {{Value(1), Value(2.0), Value()}}, offset) {}
};

class SettableProperty : public BareProperty {
public:
    Status SetValue(Instance instance, const Value& value) const override {
        *static_cast<int*>(instance.object) = value.Get<int>();
        return Status::Success;
    }
};

template <class Impl, class... Args>
std::unique_ptr<PropertyInfoImpl> Make(Args... args) {
    return std::unique_ptr<PropertyInfoImpl>(new Impl(args...));
}

TEST(PropertyInfoTest, EmptyHandleAnswersEverything) {
    PropertyInfo empty;
    int target = 0;
    EXPECT_TRUE(empty.GetName().empty());
    EXPECT_EQ(empty.GetDeclaringType(), Type());
    EXPECT_EQ(empty.GetType(), Type());
    EXPECT_EQ(empty.GetFlags(), PropertyFlags::None);
    EXPECT_EQ(empty.GetOffsetof(), -1);
    EXPECT_TRUE(empty.GetOptions().values[0].IsEmpty());
    EXPECT_TRUE(empty.GetEnum().Invalid());
    EXPECT_FALSE(empty.IsEnum() || empty.IsReadOnly() || empty.IsBindable() || empty.IsStorable());
    EXPECT_TRUE(empty._HasFlags(PropertyFlags::None));
    EXPECT_FALSE(empty._HasFlags(PropertyFlags::Readable));

    Status status;
    EXPECT_TRUE(empty.GetValue(Instance(&target), nullptr).IsEmpty());
    EXPECT_TRUE(empty.GetField(Instance(), &status).IsEmpty());
    EXPECT_EQ(status, Status::InvalidOperation);
    EXPECT_EQ(empty.SetValue(Instance(), Value(1)), Status::InvalidOperation);
    EXPECT_EQ(empty.SetField(Instance(&target), Value(1)), Status::InvalidOperation);
}

TEST(PropertyInfoTest, RecordThatOverridesNothingImplementsNothing) {
    const auto impl = Make<BareProperty>();
    PropertyInfo property(impl.get());
    int target = 0;
    Status status;

    EXPECT_EQ(property.GetName(), StringView("bare"));
    EXPECT_EQ(property.GetOffsetof(), 8);
    EXPECT_EQ(property.GetOptions().values[1].Get<double>(), 2.0);
    EXPECT_EQ(property.SetValue(Instance(&target), Value(1)), Status::NotImplemented);
    EXPECT_EQ(property.SetField(Instance(&target), Value(1)), Status::NotImplemented);
    EXPECT_TRUE(property.GetValue(Instance(&target), &status).IsEmpty());
    EXPECT_EQ(status, Status::NotImplemented);
    EXPECT_TRUE(property.GetField(Instance(&target), &status).IsEmpty());
    EXPECT_EQ(status, Status::NotImplemented);
    EXPECT_TRUE(property.GetField(Instance(), &status).IsEmpty());
    EXPECT_EQ(status, Status::InvalidParameter);
    EXPECT_EQ(property.SetField(Instance(), Value(1)), Status::InvalidParameter);
}

TEST(PropertyInfoTest, FieldsFollowTheValuesUnlessTheyAreOverridden) {
    const auto impl = Make<SettableProperty>();
    int target = 0;
    EXPECT_EQ(PropertyInfo(impl.get()).SetField(Instance(&target), Value(5)), Status::Success);
    EXPECT_EQ(target, 5);
}

TEST(PropertyInfoTest, FlagsAnswerOnlyTogether) {
    using enum PropertyFlags;
    const struct {
        PropertyFlags flags;
        bool readOnly, bindable, storable;
    } cases[] = {{None, false, false, false},
                 {Readable, true, false, false},
                 {Writable, false, false, false},
                 {Readable | Writable, false, false, false},
                 {Readable | Bindable | Storable, true, true, true}};
    for (const auto& c : cases) {
        const auto impl = Make<BareProperty>(c.flags);
        const PropertyInfo property(impl.get());
        EXPECT_EQ(property.IsReadOnly(), c.readOnly);
        EXPECT_EQ(property.IsBindable(), c.bindable);
        EXPECT_EQ(property.IsStorable(), c.storable);
        EXPECT_EQ(property._HasFlags(Readable | Storable), c.storable);
        EXPECT_FALSE(property.IsStatic());
    }
}

TEST(EnumTest, InvalidHandleAnswersEverything) {
    const Enum invalid;
    EXPECT_TRUE(invalid.Invalid());
    EXPECT_FALSE(invalid);
    EXPECT_EQ(invalid, Enum());
    EXPECT_EQ(invalid.GetDeClaringType(), Type());
    EXPECT_EQ(invalid.GetType(), Type());
    EXPECT_EQ(invalid.GetUnderlyingType(), Type());
    EXPECT_TRUE(invalid.GetName().empty());
    EXPECT_TRUE(invalid.GetNames().empty());
    EXPECT_TRUE(invalid.NameToValue("x").IsEmpty());
    EXPECT_TRUE(invalid.ValueToName(Value(1)).empty());
}

}  // namespace
}  // namespace kiv
