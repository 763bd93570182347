#include "kiv/base/registration.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kiv/base/object.h"
#include "kiv/base/typeRegistry.h"
#include "support/logCatcher.h"

namespace registration_test {

enum class Mode : unsigned char { Off, On, Auto = 7 };

class Shape : public kiv::Object {
    KIV_OBJECT(Shape, kiv::Object)
public:
    int id = 0;
    Mode mode = Mode::Off;
    long long stamp = 0;
};

/// Abstract, as a base with properties often is, and too big for a stack.
class Surface : public kiv::Object {
    KIV_OBJECT(Surface, kiv::Object)
public:
    virtual double Measure() const = 0;
    char bulk[16 << 20] = {};
    const int fixed = 7;
    double secret = 1;
};
class Guarded : public kiv::Object {
    KIV_OBJECT(Guarded, kiv::Object)
public:
    static kiv::RefPtr<Guarded> Make() { return kiv::RefPtr<Guarded>::Adopt(new Guarded(5)); }
    int number;

protected:
    explicit Guarded(int n) : number(n) {}
};

class Square : public Shape {
    KIV_OBJECT(Square, Shape)
public:
    const std::string& GetTitle() const { return title; }
    void SetTitle(const std::string& text) {
        ++calls;
        title = text;
    }
    kiv::Status SetSide(const double& value) {
        if (value < 0)
            return kiv::Status::InvalidParameter;
        ++calls;
        side = value;
        return kiv::Status::Success;
    }
    kiv::Vector2d GetCorner() const { return corner; }
    void SetCorner(kiv::Vector2d value) { corner = value; }
    double GetArea() const { return side * side; }

    int id = 0;  // hides the one of the base
    std::string title;
    double side = 1;
    kiv::Vector2d corner;
    int calls = 0;
    int serial = 3;
    kiv::RefPtr<Square> twin;
    kiv::Array<kiv::RefPtr<Square>> friends;
};

struct Front {
    int a = 1;
};
struct Back {
    int b = 2;
};
struct Both : Front {};
struct Shifted : Back, Front {};

const bool kSquare = kiv::Registration::Class<Square>("registration_test::Square")
                         .Property("id", &Square::id)
                         .Property("title", &Square::GetTitle, &Square::SetTitle)
                         .Property("side", &Square::side, &Square::SetSide)
                         .ReadOnly("area", &Square::GetArea)
                         .ReadOnly("serial", &Square::serial,
                                   kiv::PropertyFlags::Readable | kiv::PropertyFlags::Storable)
                         .Property("twin", &Square::twin)
                         .Property("friends", &Square::friends)
                         .Property("corner", &Square::GetCorner, &Square::SetCorner)
                         .Creatable();
const bool kShape = kiv::Registration::Class<Shape>("registration_test::Shape")
                        .Property("id", &Shape::id)
                        .Property("mode", &Shape::mode)
                        .Property("stamp", &Shape::stamp)
                        .Abstract();
const bool kSurface = kiv::Registration::Class<Surface>("registration_test::Surface")
                          .ReadOnly("fixed", &Surface::fixed)
                          .Property("secret", &Surface::secret, kiv::PropertyFlags::Writable)
                          .Abstract();
const bool kGuarded =
    kiv::Registration::Class<Guarded>("registration_test::Guarded").Creatable(&Guarded::Make);
const bool kMode = kiv::Registration::Enum<Mode>("registration_test::Mode")
                       .Item("Off", Mode::Off)
                       .Item("On", Mode::On)
                       .Item("Yes", Mode::On)
                       .Item("Auto", Mode::Auto)
                       .Done();

// Never registered by the tests above: each test below takes one.
#define KIV_LATE(Class)                \
    class Class : public kiv::Object { \
        KIV_OBJECT(Class, kiv::Object) \
    public:                            \
        int id = 0;                    \
    };
KIV_LATE(Late1)
KIV_LATE(Late2)
KIV_LATE(Late3)
KIV_LATE(Late4)
KIV_LATE(Late5)
KIV_LATE(Late6)
#undef KIV_LATE
struct Root {};
struct Middle {};
struct Other {};
struct Leaf {};
struct Chain {};
template <class Base>
struct Link {};

}  // namespace registration_test

KIV_BASE_CLASSES(registration_test::Both, registration_test::Front)
KIV_BASE_CLASSES(registration_test::Shifted, registration_test::Back, registration_test::Front)

namespace kiv {
namespace {

using namespace registration_test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

std::vector<std::string> PropertyNames(Type type) {
    std::vector<std::string> names;
    for (const PropertyInfo& property : type.GetProperties())
        names.emplace_back(property.GetName());
    return names;
}

TEST(RegistrationTest, RegisteredClassIsFoundByNameAndCreated) {
    ASSERT_TRUE(kSquare && kShape && kMode && kGuarded);
    Status status;
    const Value made = Type::Find("registration_test::Square").CreateInstance(&status);

    EXPECT_EQ(status, Status::Success);
    const RefPtr<Square> square = made.Get<RefPtr<Square>>();
    ASSERT_NE(square, nullptr);
    EXPECT_EQ(made.Get<RefPtr<Object>>(), square);
    EXPECT_EQ(square->GetType(), Type::Get<Square>());
    EXPECT_TRUE(square->IsInstanceOf<Shape>());
    EXPECT_TRUE(Type::Get<Shape>().CreateInstance(&status).IsEmpty());
    EXPECT_EQ(status, Status::Failure);

    const RefPtr<Guarded> made_by_function =
        Type::Find("registration_test::Guarded").CreateInstance().Get<RefPtr<Guarded>>();
    ASSERT_NE(made_by_function, nullptr);
    EXPECT_EQ(made_by_function->number, 5);
}

TEST(RegistrationTest, PropertiesOfTheRootComeFirstWhateverWasDefinedFirst) {
    EXPECT_THAT(PropertyNames(Type::Get<Square>()),
                ElementsAre("id", "mode", "stamp", "id", "title", "side", "area", "serial", "twin",
                            "friends", "corner"));
    EXPECT_THAT(PropertyNames(Type::Get<Shape>()), ElementsAre("id", "mode", "stamp"));
    EXPECT_EQ(Type::Get<Square>().GetProperty("id").GetDeclaringType(), Type::Get<Square>());
    EXPECT_EQ(Type::Get<Square*>().GetProperty("stamp").GetDeclaringType(), Type::Get<Shape>());
    EXPECT_TRUE(Type::Get<Square>().GetProperty("no such").IsEmpty());
}

TEST(RegistrationTest, SetterChecksWhatItIsGiven) {
    const RefPtr<Square> square = MakeRefCounted<Square>();
    square->id = 4;
    square->title = "kept";
    square->twin = square;
    const RefPtr<Object> twin = MakeRefCounted<Square>();
    const RefPtr<Object> stranger = MakeRefCounted<Late1>();
    const Array<RefPtr<Object>> twoSquares = {twin, nullptr};
    const Array<RefPtr<Object>> withStranger = {twin, nullptr, stranger};

    const struct {
        const char* name;
        Value value;
        Status expected;
    } cases[] = {
        {"id", Value(5.0), Status::InvalidCast},
        {"id", Value(), Status::InvalidCast},
        {"id", Value(5), Status::Success},
        {"stamp", Value(5ll), Status::Success},
        {"title", Value(5), Status::InvalidCast},
        {"side", Value(-1.0), Status::InvalidParameter},
        {"side", Value(2.0), Status::Success},
        {"area", Value(2.0), Status::InvalidOperation},
        {"serial", Value(9), Status::InvalidOperation},
        {"mode", Value(1), Status::InvalidCast},
        {"mode", Value(Mode::Auto), Status::Success},
        {"twin", Value(5), Status::InvalidCast},
        {"twin", Value(stranger), Status::InvalidCast},
        {"twin", Value(withStranger), Status::InvalidCast},
        {"friends", Value(twin), Status::InvalidCast},
        {"friends", Value(withStranger), Status::InvalidCast},
        {"friends", Value(twoSquares), Status::Success},
        {"nothing", Value(5), Status::InvalidParameter},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.name) + " = " + std::string(c.value.GetType().GetRawName()));
        EXPECT_EQ(square->SetProperty(c.name, c.value), c.expected);
    }
    EXPECT_EQ(square->id, 5);
    EXPECT_EQ(square->stamp, 5);
    EXPECT_EQ(square->title, "kept");
    EXPECT_EQ(square->GetProperty("area").Get<double>(), 4.0);
    EXPECT_EQ(square->mode, Mode::Auto);
    EXPECT_EQ(square->twin, square);
    EXPECT_EQ(square->friends.size(), 2u);
    EXPECT_EQ(std::as_const(square->friends)[0], twin);

    for (const RefPtr<Object>& next : {twin, RefPtr<Object>()}) {
        EXPECT_EQ(square->SetProperty("twin", Value(next)), Status::Success);
        EXPECT_EQ(square->twin, next);
    }
}

TEST(RegistrationTest, FieldRoadWritesMembersWithoutTheirSetters) {
    const RefPtr<Square> square = MakeRefCounted<Square>();
    const Instance instance(square.get());
    const Type type = square->GetType();
    const auto hand_back = [&](const char* name) {
        const PropertyInfo property = type.GetProperty(name);
        return property.SetField(instance, property.GetField(instance, nullptr));
    };

    EXPECT_EQ(hand_back("title"), Status::Success);
    EXPECT_EQ(hand_back("side"), Status::Success);
    EXPECT_EQ(hand_back("area"), Status::InvalidOperation);
    EXPECT_EQ(type.GetProperty("side").SetField(instance, Value(-3.0)), Status::Success);
    EXPECT_EQ(type.GetProperty("serial").SetField(instance, Value(12)), Status::Success);
    EXPECT_EQ(square->side, -3.0);
    EXPECT_EQ(square->serial, 12);
    EXPECT_EQ(square->calls, 0);
    EXPECT_EQ(type.GetProperty("title").SetField(instance, Value(std::string("new"))),
              Status::Success);
    EXPECT_EQ(square->calls, 1);

    // Equal within the tolerance of the record, and still another value.
    EXPECT_EQ(type.GetProperty("corner").SetField(instance, Value(Vector2d{1e-9, 0})),
              Status::Success);
    EXPECT_EQ(square->corner.x, 1e-9);
    // An array that is handed back keeps the buffer that it shares.
    square->friends.emplace_back(MakeRefCounted<Square>());
    const Array<RefPtr<Square>> shared = square->friends;
    EXPECT_EQ(hand_back("friends"), Status::Success);
    EXPECT_EQ(std::as_const(square->friends).data(), shared.data());
}

class Panel : public Surface {
public:
    Type GetType() const override { return Type::Get<Surface>(); }
    double Measure() const override { return 1; }
};

TEST(RegistrationTest, FlagsOfAPropertySayWhatThePublicRoadDoes) {
    ASSERT_TRUE(kSurface);
    const RefPtr<Object> panel = MakeRefCounted<Panel>();
    Status status;

    EXPECT_EQ(panel->GetProperty("fixed").Get<int>(), 7);
    EXPECT_EQ(panel->SetProperty("fixed", 8), Status::InvalidOperation);
    EXPECT_EQ(panel->SetProperty("secret", 2.0), Status::Success);
    EXPECT_TRUE(panel->GetProperty("secret", &status).IsEmpty());
    EXPECT_EQ(status, Status::InvalidOperation);
    EXPECT_EQ(Type::Get<Surface>().GetProperty("fixed").GetOffsetof(),
              static_cast<int>(sizeof(Object) + (16 << 20)));
}

TEST(RegistrationTest, EnumTravelsAsItsNumberAndOnlyAsOneOfItsItems) {
    const RefPtr<Square> square = MakeRefCounted<Square>();
    const Instance instance(square.get());
    const PropertyInfo mode = square->GetType().GetProperty("mode");

    square->mode = Mode::Auto;
    EXPECT_EQ(mode.GetField(instance, nullptr).Get<unsigned char>(), 7);
    EXPECT_EQ(mode.GetValue(instance, nullptr).Get<Mode>(), Mode::Auto);
    EXPECT_EQ(mode.SetField(instance, Value(static_cast<unsigned char>(1))), Status::Success);
    EXPECT_EQ(square->mode, Mode::On);
    EXPECT_EQ(mode.SetField(instance, Value(static_cast<unsigned char>(8))), Status::InvalidCast);
    EXPECT_EQ(mode.SetField(instance, Value(1)), Status::InvalidCast);
    EXPECT_EQ(square->mode, Mode::On);

    // Flags travel together.
    EXPECT_EQ(mode.SetField(instance, Value(static_cast<unsigned char>(5))), Status::Success);
    EXPECT_EQ(mode.GetField(instance, nullptr), Value(static_cast<unsigned char>(5)));

    ASSERT_TRUE(mode.IsEnum());
    const Enum table = mode.GetEnum();
    EXPECT_EQ(table.GetName(), StringView("registration_test::Mode"));
    EXPECT_EQ(table.GetUnderlyingType(), Type::Get<unsigned char>());
    EXPECT_EQ(table.GetNames().size(), 4u);
    EXPECT_EQ(table.NameToValue("Auto").Get<Mode>(), Mode::Auto);
    EXPECT_TRUE(table.NameToValue("None").IsEmpty());
    EXPECT_EQ(table.ValueToName(Value(Mode::On)), StringView("On"));
    EXPECT_EQ(table.ValueToName(Value(1)), StringView());
}

TEST(RegistrationTest, InstanceOfAnotherClassIsRefused) {
    const RefPtr<Late1> stranger = MakeRefCounted<Late1>();
    const PropertyInfo id = Type::Get<Shape>().GetProperty("id");
    Status status;

    EXPECT_TRUE(id.GetValue(Instance(stranger.get()), &status).IsEmpty());
    EXPECT_EQ(status, Status::InvalidParameter);
    EXPECT_EQ(id.SetField(Instance(stranger.get()), Value(1)), Status::InvalidParameter);
    EXPECT_EQ(id.SetValue(Instance(stranger.get(), Type()), Value(1)), Status::InvalidParameter);
}

TEST(RegistrationTest, PlainClassFindsThePropertiesOfABaseAtItsStart) {
    testing::LogCatcher log;
    ASSERT_TRUE(
        Registration::Class<Front>("registration_test::Front").Property("a", &Front::a).Abstract());
    ASSERT_TRUE(Registration::Class<Both>("registration_test::Both").Abstract());
    EXPECT_TRUE(log.Take().empty());
    Both both;
    EXPECT_EQ(Type::Get<Both>().GetProperty("a").SetValue(Instance(&both), Value(9)),
              Status::Success);
    EXPECT_EQ(both.a, 9);

    ASSERT_TRUE(Registration::Class<Shifted>("registration_test::Shifted").Abstract());
    ASSERT_EQ(log.Take().size(), 1u);  // Front does not stand at its start
    EXPECT_TRUE(Type::Get<Shifted>().GetProperty("a").IsEmpty());
}

template <class Class>
bool Defines(const char* name, std::initializer_list<const char*> members) {
    Registration::Class<Class> registration(name);
    for (const char* member : members)
        registration.Property(member, &Class::id);
    return registration.Creatable();
}

TEST(RegistrationTest, RefusedRegistrationIsToldOnceAndChangesNothing) {
    testing::LogCatcher log;
    const auto is_told = [&log](bool accepted, const char* text) {
        EXPECT_FALSE(accepted);
        const auto lines = log.Take();
        ASSERT_EQ(lines.size(), 1u) << text;
        EXPECT_EQ(lines[0].level, LogLevel::Fatal);
        EXPECT_THAT(lines[0].payload, HasSubstr(text));
    };

    // The type has a name already, the name is another type's, empty, or under way for another.
    is_told(Defines<Square>("registration_test::Square2", {"new", "newer"}), "test::Square ");
    is_told(Defines<Late1>("registration_test::Square", {"x"}), "test::Late1 ");
    is_told(Defines<Late1>("", {"x"}), "test::Late1 ");
    {
        Registration::Class<Late5> first("registration_test::Late5");
        Registration::Class<Late6> second("registration_test::Late5");
        EXPECT_TRUE(first.Creatable());
        is_told(second.Creatable(), "test::Late6 ");
    }
    // Members of one name, or behind the definition.
    is_told(Defines<Late4>("registration_test::Late4", {"x", "x"}), "test::Late4 ");
    {
        Registration::Class<Late2> late("registration_test::Late2");
        EXPECT_TRUE(late.Creatable());
        late.Property("x", &Late2::id).Property("y", &Late2::id);
        is_told(late.Creatable(), "test::Late2 ");
    }
    is_told(Registration::Enum<Mode>("registration_test::Mode").Item("x", Mode::Off).Done(),
            "enum registration_test::Mode ");
    { Registration::Class<Late1> nothingWrong(""); }
    EXPECT_TRUE(log.Take().empty());

    EXPECT_TRUE(Type::Get<Square>().GetProperty("new").IsEmpty());
    EXPECT_EQ(Type::Find("registration_test::Square2"), Type());
    EXPECT_EQ(Type::Find("registration_test::Square"), Type::Get<Square>());
    EXPECT_TRUE(Type::Get<Late1>().GetProperties().empty());
    EXPECT_EQ(Type::Get<Late1>().GetName(), StringView());
    EXPECT_TRUE(Type::Get<Late2>().GetProperties().empty());
    EXPECT_FALSE(Type::Get<Object>().IsBaseOf(Type::Get<Late6>()));
    EXPECT_EQ(Type::Get<Mode>().GetEnum().GetNames().size(), 4u);
}

TEST(RegistrationTest, ClassWithoutTerminalIsDefinedAtTheEnd) {
    {
        Registration::Class<Late3> late("registration_test::Late3");
        EXPECT_EQ(Type::Find("registration_test::Late3"), Type());
    }
    EXPECT_EQ(Type::Find("registration_test::Late3"), Type::Get<Late3>());
    EXPECT_TRUE(Type::Get<Late3>().IsAbstract());
}

TEST(MakeTypeInfoTest, BasesAreKeptOnceEachAndInOrder) {
    using detail::base_class_info;
    const Type root = Type::Declare<Root>();
    const Type middle = Type::Declare<Middle>();
    const Type other = Type::Declare<Other>();
    const Type leaf = Type::Declare<Leaf>();
    std::vector<base_class_info> none;
    std::vector<base_class_info> toRoot = {{root, nullptr}};
    rttr::MakeTypeInfo::_DefineBaseClasses(root, none);
    rttr::MakeTypeInfo::_DefineBaseClasses(middle, toRoot);

    std::vector<base_class_info> bases = {
        {middle, nullptr}, {root, nullptr}, {other, nullptr}, {middle, nullptr}, {root, nullptr}};
    rttr::MakeTypeInfo::_DefineBaseClasses(leaf, bases);

    std::vector<Type> kept(leaf.GetBaseTypes().begin(), leaf.GetBaseTypes().end());
    EXPECT_EQ(kept.size(), 3u);
    EXPECT_LT(std::find(kept.begin(), kept.end(), root),
              std::find(kept.begin(), kept.end(), middle));
    EXPECT_TRUE(root.IsBaseOf(leaf) && middle.IsBaseOf(leaf) && other.IsBaseOf(leaf));
}

template <class Class, int Depth>
void DefineChain(std::vector<detail::base_class_info> bases) {
    const Type type = Type::Declare<Class>();
    rttr::MakeTypeInfo::_DefineBaseClasses(type, bases);
    rttr::MakeTypeInfo::_DefineType(type, "registration_test::Link" + std::to_string(Depth),
                                    nullptr);
    bases.push_back({type, nullptr});
    if constexpr (Depth > 0)
        DefineChain<Link<Class>, Depth - 1>(bases);
}

TEST(MakeTypeInfoTest, RootOfALongChainIsDefinedInNoTime) {
    const Type root = Type::Declare<Chain>();
    DefineChain<Link<Chain>, 40>({{root, nullptr}});

    // Each type of the chain is in the lists of all before it: walking these again from each would
    // not end.
    rttr::MakeTypeInfo::_DefineType(root, "registration_test::Chain", nullptr);

    EXPECT_EQ(root.GetDerivedTypes().size(), 41u);
}

TEST(MakeTypeInfoTest, LowerRoadDropsWhatItCannotDo) {
    rttr::MakeTypeInfo::_DeclareEnumItem(Type::Get<int>(), "item", Value(1));
    EXPECT_TRUE(Type::Get<int>().GetEnum().Invalid());
    rttr::MakeTypeInfo::DefineType<Late1>("registration_test::Square", nullptr);
    EXPECT_EQ(Type::Find("registration_test::Square"), Type::Get<Square>());
    EXPECT_TRUE(Type::Get<Object>().IsBaseOf(Type::Get<Late1>()));
}

}  // namespace
}  // namespace kiv
