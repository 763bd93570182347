#include "kiv/base/property.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kiv/base/binarySerializer.h"
#include "kiv/base/jsonSerializer.h"
#include "kiv/base/object.h"
#include "kiv/base/vector.h"
#include "support/logCatcher.h"

namespace property_test {

class Mixin {
public:
    virtual ~Mixin() = default;
    double ballast = 0;
};

enum class Lid : short { None, Flap = 300 };

class Box : public Mixin, public kiv::Object {
    KIV_OBJECT(Box, kiv::Object)
public:
    Box() { ++alive; }
    static inline int alive = 0;

    kiv::Property<int> width{kiv::PropertyInfoOf<&Box::width>(), 1};
    kiv::Property<int> height{kiv::PropertyInfoOf<&Box::height>(), 1};
    kiv::Property<int> area{kiv::PropertyInfoOf<&Box::area>()};
    kiv::Property<std::string> label{kiv::PropertyInfoOf<&Box::label>()};
    kiv::Property<kiv::Vector3d> place{kiv::PropertyInfoOf<&Box::place>()};
    kiv::Property<kiv::RefPtr<Box>> inner{kiv::PropertyInfoOf<&Box::inner>()};
    kiv::Property<kiv::Array<kiv::RefPtr<Box>>> stack{kiv::PropertyInfoOf<&Box::stack>()};
    kiv::Property<Lid> lid{kiv::PropertyInfoOf<&Box::lid>()};
    kiv::Property<int> unknown{kiv::PropertyInfoOf<&Box::unknown>(), 5};

protected:
    ~Box() override { --alive; }
};

const bool lids = kiv::Registration::Enum<Lid>("property_test::Lid")
                      .Item("None", Lid::None)
                      .Item("Flap", Lid::Flap)
                      .Done();
const bool registered = kiv::Registration::Class<Box>("property_test::Box")
                            .Property("width", &Box::width)
                            .Property("height", &Box::height,
                                      [](Box& box, int height) {
                                          if (height < 0)
                                              return kiv::Status(kiv::Status::InvalidParameter);
                                          box.height.Set(height);
                                          return kiv::Status(kiv::Status::Success);
                                      })
                            .ReadOnly("area", &Box::area)
                            .Property("label", &Box::label)
                            .Property("place", &Box::place)
                            .Property("inner", &Box::inner)
                            .Property("stack", &Box::stack)
                            .Property("lid", &Box::lid)
                            .Creatable();

}  // namespace property_test

namespace kiv {
namespace {

using property_test::Box;

static_assert(sizeof(Property<void*>) == 2 * sizeof(void*) + sizeof(std::string));

class PropertyTest : public ::testing::Test {
protected:
    PropertyTest() { EXPECT_TRUE(property_test::lids && property_test::registered); }
    ~PropertyTest() override {
        box.reset();
        other.reset();
        EXPECT_EQ(Box::alive, 0);
    }

    RefPtr<Box> box = MakeRefCounted<Box>();
    RefPtr<Box> other = MakeRefCounted<Box>();
    int told = 0;
    const std::function<void()> count = [this] { ++told; };
};

TEST_F(PropertyTest, TellsItsObserversOfNewValuesOnly) {
    const PropertyObserver ofLabel = box->label.Observe(count);
    const PropertyObserver ofPlace = box->place.Observe(count);

    box->label.Set("a");
    box->label.Set(std::string("a"));
    EXPECT_EQ(told, 1);
    box->place.Set({1e-12, 0, 0});  // equals zero, and still is another place
    EXPECT_EQ(told, 2);
    EXPECT_EQ(box->place.Get().x, 1e-12);
    EXPECT_EQ(box->label.GetName(), "label");
    EXPECT_EQ(box->label.GetObject(), box.get());
}

TEST_F(PropertyTest, HandleOfAnObserverEndsTheLink) {
    PropertyObserver first = box->width.Observe(count);
    {
        const PropertyObserver second = box->width.Observe(count);
        box->width.Set(2);
        EXPECT_EQ(told, 2);
    }
    PropertyObserver moved = std::move(first);
    box->width.Set(3);
    EXPECT_EQ(told, 3);
    moved = box->height.Observe(count);
    box->width.Set(4);
    EXPECT_EQ(told, 3);
    auto held = std::make_shared<int>();
    moved = box->height.Observe([held] {});
    box.reset();
    EXPECT_EQ(held.use_count(), 2);  // the handle keeps what it has
    moved.Reset();
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(PropertyTest, CallbackMayEndItselfAndOthersAndTheProperty) {
    PropertyObserver last = box->width.Observe(count);
    PropertyObserver next = box->width.Observe(count);
    auto held = std::make_shared<int>(7);
    PropertyObserver first = box->width.Observe([&, held] {
        next.Reset();
        first.Reset();
        EXPECT_EQ(*held, 7);
    });
    box->width.Set(2);
    EXPECT_EQ(told, 1);
    EXPECT_EQ(held.use_count(), 1);

    first = box->width.Observe([&, held] {
        first.Reset();
        throw std::runtime_error("stop");
    });
    EXPECT_THROW(box->width.Set(8), std::runtime_error);
    EXPECT_EQ(held.use_count(), 1);

    first = box->width.Observe([&, held] {
        box->width.Set(9);  // called once more, within itself, which ends all
        first = PropertyObserver();
        box.reset();
        EXPECT_EQ(*held, 7);
    });
    box->width.Set(3);
    EXPECT_EQ(told, 1);
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(PropertyTest, FollowsWhatItsExpressionReads) {
    Box& b = *box;
    int evaluated = 0;
    b.area.Bind([&] { return ++evaluated, b.width.Get() * b.height.Get() + 0 * b.width.Get(); });
    const PropertyObserver observer = b.area.Observe(count);
    EXPECT_EQ(b.area.Get(), 1);
    b.width.Set(2);
    b.height.Set(3);
    EXPECT_EQ(b.area.Get(), 6);
    EXPECT_EQ(told, 2);
    EXPECT_EQ(evaluated, 3);

    // What it reads may be another property each time.
    b.area.Bind([&] { return b.width.Get() > 5 ? other->width.Get() : b.height.Get(); });
    other->width.Set(50);
    EXPECT_EQ(b.area.Get(), 3);
    b.width.Set(6);
    other->width.Set(60);
    EXPECT_EQ(b.area.Get(), 60);
    told = 0;
    b.height.Set(4);
    EXPECT_EQ(told, 0);
    b.width.Set(5);
    EXPECT_EQ(b.area.Get(), 4);

    b.area.Bind(other->width);
    EXPECT_EQ(b.area.Get(), 60);
    other->width.Set(61);
    EXPECT_EQ(b.area.Get(), 61);
    other.reset();
    EXPECT_TRUE(b.area.HasBinding());
    b.area.Bind([] { return 8; });  // nothing to follow
    EXPECT_EQ(b.area.Get(), 8);
    EXPECT_FALSE(b.area.HasBinding());

    // Also what it read first may be left, and go.
    other = MakeRefCounted<Box>();
    evaluated = 0;
    b.area.Bind([&] { return ++evaluated == 1 ? other->width.Get() : b.width.Get(); });
    other->width.Set(70);
    EXPECT_EQ(b.area.Get(), 5);
    other->width.Set(71);
    EXPECT_EQ(evaluated, 2);
    other.reset();
    b.width.Set(6);
    EXPECT_EQ(b.area.Get(), 6);
}

TEST_F(PropertyTest, ExpressionEndsWithAnyOfItsSources) {
    int evaluated = 0;
    for (const bool isFirst : {true, false}) {
        RefPtr<Box> dies = MakeRefCounted<Box>();
        Box* const first = isFirst ? dies.get() : other.get();
        Box* const second = isFirst ? other.get() : dies.get();
        box->area.Bind([&evaluated, first, second] {
            return ++evaluated, first->width.Get() + second->width.Get();
        });
        const int value = box->area.Get();
        dies.reset();
        evaluated = 0;
        other->width.Set(other->width.Get() + 1);
        EXPECT_EQ(evaluated, 0);
        EXPECT_EQ(box->area.Get(), value);
        EXPECT_TRUE(box->area.HasBinding());
    }

    box->area.Bind(other->width);
    const PropertyObserver observer = box->area.Observe([&] {
        other->width.Set(99);  // asks for another round, for which it is gone then
        other.reset();
    });
    other->width.Set(5);
    EXPECT_EQ(box->area.Get(), 5);
}

TEST_F(PropertyTest, WhatGoesWithAValueOrABindingMayTakeTheOwnerAlong) {
    const std::function<void(Box&)> ends[] = {
        [](Box& b) { b.inner.Set(nullptr); },
        [](Box& b) { b.area.Set(7); },
        [&](Box& b) { b.area.Bind(other->height); },
        [&](Box& b) { b.area.Bind([] { return 7; }); },
    };
    for (std::size_t i = 0; i < std::size(ends); ++i) {
        SCOPED_TRACE(i);
        Box& owner = *box;
        if (i == 0)
            owner.inner.Set(box);
        else
            owner.area.Bind([box = box, &o = *other] { return o.width.Get() + o.height.Get(); });
        box.reset();
        ends[i](owner);
        EXPECT_EQ(Box::alive, 1);  // the other one
        box = MakeRefCounted<Box>();
    }

    // What an expression holds changes a source in going: no more of the old one, but of the new.
    int evaluated = 0;
    std::shared_ptr<void> grows(nullptr, [b = box.get()](void*) { b->height.Set(50); });
    box->area.Bind([&evaluated, b = box.get(), held = std::move(grows)] {
        return ++evaluated, b->width.Get() + b->height.Get();
    });
    box->area.Bind([b = box.get()] { return b->width.Get() + b->height.Get(); });
    EXPECT_EQ(evaluated, 1);
    EXPECT_EQ(box->area.Get(), 51);
}

TEST_F(PropertyTest, BindingLastsUntilTheValueIsSetByHand) {
    box->area.Bind(box->width);
    box->area.Set(box->area.Get());
    EXPECT_FALSE(box->area.HasBinding());
    box->area.Bind(box->width);
    box->area.Unbinding();
    box->width.Set(9);
    EXPECT_EQ(box->area.Get(), 1);

    box->area.Bind(box->width);
    EXPECT_THROW(box->area.Bind([]() -> int { throw std::runtime_error("none"); }),
                 std::runtime_error);
    box->width.Set(10);
    EXPECT_EQ(box->area.Get(), 10);
}

TEST_F(PropertyTest, ExpressionMayEndWhatItWorksFor) {
    const std::function<void()> acts[] = {
        [] {},
        [&] { box->area.Unbinding(); },
        [&] { box->area.Set(7); },
        [&] { box->area.Bind(box->height); },
        [&] { box.reset(); },
    };
    const std::vector<int> areas = {20, 5, 7, 1, 0};
    for (std::size_t i = 0; i < areas.size(); ++i) {
        SCOPED_TRACE(i);
        box = MakeRefCounted<Box>();
        other = MakeRefCounted<Box>();
        auto held = std::make_shared<int>(5);
        box->area.Bind([&, held] {
            const int sum = other->width.Get() + other->height.Get();
            if (sum > 10)
                acts[i]();
            return sum > 10 ? *held * 4 : *held;
        });
        other->height.Set(100);  // not the first that is read
        EXPECT_EQ(box ? box->area.Get() : 0, areas[i]);
        EXPECT_EQ(held.use_count(), i == 0 ? 2 : 1);
    }
    // The same in the first evaluation.
    auto held = std::make_shared<int>();
    box = MakeRefCounted<Box>();
    box->area.Bind([&, held] {
        const int width = box->width.Get() + other->width.Get();
        box.reset();
        return width;
    });
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_EQ(Box::alive, 1);
}

TEST_F(PropertyTest, ObserverMayChangeWhatThePropertyFollows) {
    box->area.Bind([&] { return box->width.Get() * 10; });
    std::function<void()> act = [] {};
    const PropertyObserver older = box->area.Observe([&] { act(); });
    const PropertyObserver clamp = box->area.Observe([&] {
        if (box->width.Get() > 3)
            box->width.Set(3);
    });
    box->width.Set(5);
    EXPECT_EQ(box->area.Get(), 30);
    EXPECT_TRUE(box->area.HasBinding());

    // Also where another observer throws afterwards.
    box->width.Set(2);
    act = [] { throw std::runtime_error("stop"); };
    EXPECT_THROW(box->width.Set(5), std::runtime_error);
    EXPECT_EQ(box->area.Get(), 30);
}

TEST_F(PropertyTest, BindingsThatNeverAgreeAreReported) {
    testing::LogCatcher log;
    box->width.Bind([&] { return box->width.Get() + 1; });  // reads nothing but itself
    EXPECT_EQ(box->width.Get(), 2);
    box->width.Bind(box->height);
    box->height.Bind(box->width);  // agree at once
    EXPECT_EQ(log.Take().size(), 0u);
    box->width.Bind([&] { return box->height.Get() + 1; });
    EXPECT_EQ(log.Take().size(), 1u);

    // Each of several in a loop is cut off once, not again in each round of the others.
    const auto make = [] { return MakeRefCounted<Box>(); };
    const RefPtr<Box> loop[] = {make(), make(), make(), make()};
    int evaluated = 0;
    bool isGrowing = false;
    for (const RefPtr<Box>& one : loop) {
        one->width.Bind([&] {
            ++evaluated;
            int most = 0;
            for (const RefPtr<Box>& each : loop)
                most = std::max(most, each == one ? 0 : each->width.Get() + isGrowing);
            return most + isGrowing * one->height.Get();
        });
    }
    EXPECT_EQ(log.Take().size(), 0u);
    for (int times = 1; times < 3; ++times) {
        evaluated = 0;
        isGrowing = true;
        loop[0]->height.Set(1 + times);
        EXPECT_EQ(log.Take().size(), 1u);
        EXPECT_GT(evaluated, 100);
        EXPECT_LT(evaluated, 10000);
    }
}

TEST_F(PropertyTest, WithoutInfoItIsAPlainValue) {
    testing::LogCatcher log;
    const PropertyObserver observer = box->unknown.Observe(count);
    box->unknown.Set(6);
    box->area.Bind(box->unknown);
    EXPECT_FALSE(box->area.HasBinding());
    EXPECT_EQ(log.Take().size(), 2u);
    EXPECT_EQ(told, 0);
    EXPECT_EQ(box->area.Get(), 6);
    EXPECT_EQ(box->unknown.GetObject(), nullptr);
}

TEST_F(PropertyTest, ReflectionSeesTheValue) {
    const PropertyInfo info = Type::Get<Box>().GetProperty("width");
    EXPECT_TRUE(info.IsBindable() && info.IsStorable());
    EXPECT_EQ(info.GetType(), Type::Get<int>());
    EXPECT_TRUE(Type::Get<Box>().GetProperty("area").IsReadOnly());

    const PropertyObserver observer = box->height.Observe(count);
    box->height.Bind(box->width);
    EXPECT_EQ(box->SetProperty("height", 4), Status::Success);
    EXPECT_FALSE(box->height.HasBinding());
    EXPECT_EQ(box->SetProperty("height", -1), Status::InvalidParameter);
    EXPECT_EQ(box->SetProperty("width", 2.5), Status::InvalidCast);
    EXPECT_EQ(box->GetProperty("height").Get<int>(), 4);
    EXPECT_EQ(told, 1);

    // Reading a property by its name is reading it.
    box->area.Bind([&] { return box->GetProperty("width").Get<int>(); });
    EXPECT_EQ(box->SetProperty("width", 3), Status::Success);
    EXPECT_EQ(box->area.Get(), 3);
}

TEST_F(PropertyTest, ArchiveCarriesTheValueAndTellsNobody) {
    box->label.Set("crate");
    box->inner.Set(other);
    other->width.Bind(box->height);
    box->height.Set(4);
    const PropertyObserver observer = other->width.Observe(count);
    other->lid.Set(property_test::Lid::Flap);
    box->stack.Set({other, nullptr});
    const auto expectCopy = [&](auto serializer) {
        ASSERT_EQ(serializer.Serialize(box), Status::Success);
        EXPECT_TRUE(other->width.HasBinding());
        const RefPtr<Object> read = serializer.Deserialize("property_test::Box", nullptr);
        const Box* copy = dynamic_cast<Box*>(read.get());
        ASSERT_NE(copy, nullptr);
        EXPECT_EQ(copy->label.Get(), "crate");
        const RefPtr<Box>& inner = copy->inner.Get();
        EXPECT_EQ(inner->width.Get(), 4);
        EXPECT_EQ(inner->lid.Get(), property_test::Lid::Flap);
        ASSERT_EQ(copy->stack.Get().size(), 2u);
        EXPECT_EQ(copy->stack.Get()[0], inner);
        EXPECT_EQ(copy->stack.Get()[1], nullptr);
    };
    expectCopy(JsonSerializer({}));
    expectCopy(BinarySerializer({}));

    const PropertyInfo info = Type::Get<Box>().GetProperty("width");
    EXPECT_EQ(info.SetField(Instance(other.get()), Value(7)), Status::Success);
    EXPECT_EQ(other->width.Get(), 7);
    EXPECT_EQ(told, 0);
}

TEST(IsSameValueTest, ComparesWhatMakesTheValue) {
    struct Padded {
        char sign;
        double size;
        bool operator==(const Padded&) const = default;
    };
    const double nan = std::numeric_limits<double>::quiet_NaN();
    Padded clean = {'a', 1}, dirty = {'a', 1};
    std::memset(reinterpret_cast<char*>(&clean) + 1, 0, 7);
    std::memset(reinterpret_cast<char*>(&dirty) + 1, 1, 7);
    EXPECT_TRUE(detail::IsSameValue(clean, dirty));
    dirty.size = 2;
    EXPECT_FALSE(detail::IsSameValue(clean, dirty));
    clean.size = nan;
    EXPECT_TRUE(detail::IsSameValue(clean, clean));
    EXPECT_TRUE(detail::IsSameValue(Vector3d{nan, 0, 0}, Vector3d{nan, 0, 0}));
    EXPECT_FALSE(detail::IsSameValue(Vector3d{0, 0, 0}, Vector3d{-0.0, 0, 0}));
    EXPECT_FALSE(detail::IsSameValue(0.0, -0.0));
}

}  // namespace
}  // namespace kiv
