#include "kiv/base/propertyInfo.h"

#include <gtest/gtest.h>

#include "kiv/base/enum.h"

namespace kiv {
namespace {

class BareProperty : public PropertyInfoImpl {
public:
    explicit BareProperty(PropertyFlags flags = PropertyFlags::Readable)
        : PropertyInfoImpl("bare", Type::Get<int>(), static_cast<unsigned int>(flags),
                           {{Value(1), Value(2.0), Value()}}, 8) {}
};

class SettableProperty : public BareProperty {
public:
    Status SetValue(Instance instance, const Value& value) const override {
        *static_cast<int*>(instance.object) = value.Get<int>();
        return Status::Success;
    }
};

TEST(PropertyInfoTest, EmptyHandleAnswersEverything) {
    const PropertyInfo empty;
    EXPECT_TRUE(empty.GetName().empty());
    EXPECT_EQ(empty.GetDeclaringType(), Type());
    EXPECT_EQ(empty.GetType(), Type());
    EXPECT_EQ(empty.GetOffsetof(), -1);
    EXPECT_TRUE(empty.GetOptions().values[0].IsEmpty());
    EXPECT_TRUE(empty.GetEnum().Invalid());
    EXPECT_FALSE(empty.IsEnum() || empty.IsReadOnly() || empty.IsBindable() || empty.IsStorable());
    EXPECT_TRUE(empty._HasFlags(PropertyFlags::None));
}

TEST(PropertyInfoTest, AccessFailsForWhatIsMissingOrNotImplemented) {
    BareProperty bare;
    SettableProperty settable;
    int target = 0;
    const Instance on(&target);
    const struct {
        const char* name;
        PropertyInfo property;
        Instance instance;
        Status reading, writing;
    } cases[] = {
        {"property", {}, on, Status::InvalidOperation, Status::InvalidOperation},
        {"both", {}, {}, Status::InvalidOperation, Status::InvalidOperation},
        {"instance", PropertyInfo(&bare), {}, Status::InvalidParameter, Status::InvalidParameter},
        {"access", PropertyInfo(&bare), on, Status::NotImplemented, Status::NotImplemented},
        // A field is the value until it is overridden.
        {"reading", PropertyInfo(&settable), on, Status::NotImplemented, Status::Success},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Status ofValue, ofField;
        EXPECT_TRUE(c.property.GetValue(c.instance, &ofValue).IsEmpty());
        EXPECT_TRUE(c.property.GetField(c.instance, &ofField).IsEmpty());
        EXPECT_EQ(ofValue, c.reading);
        EXPECT_EQ(ofField, c.reading);
        EXPECT_EQ(c.property.SetValue(c.instance, Value(4)), c.writing);
        EXPECT_EQ(c.property.SetField(c.instance, Value(5)), c.writing);
        EXPECT_EQ(target, c.writing ? 5 : 0);
        EXPECT_TRUE(c.property.GetValue(c.instance, nullptr).IsEmpty());
    }
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
        BareProperty bare(c.flags);
        const PropertyInfo property(&bare);
        EXPECT_EQ(property.GetName(), StringView("bare"));
        EXPECT_EQ(property.GetOffsetof(), 8);
        EXPECT_EQ(property.GetOptions().values[1].Get<double>(), 2.0);
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
