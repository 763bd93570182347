#include "kiv/base/untypedProperty.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "kiv/base/object.h"
#include "support/logCatcher.h"

namespace kiv {
namespace {

class Record : public PropertyInfoImpl {
public:
    explicit Record(int offset) : PropertyInfoImpl("probe", Type(), 0, {}, offset) {}
};

PropertyInfo InfoOf(int offset) {
    static std::map<int, Record> records;
    return PropertyInfo(&records.try_emplace(offset, offset).first->second);
}

/// Opens what a typed class would call.
struct Probe : UntypedProperty {
    explicit Probe(const PropertyInfo& info) : UntypedProperty(info) {}
    void Bind(
        Probe& source, std::function<void()> function = [] {}) {
        SetBinding(source, std::move(function), nullptr);
    }
    using UntypedProperty::GetBinding, UntypedProperty::GetFlags, UntypedProperty::GetObserverList,
        UntypedProperty::Notify, UntypedProperty::SetBinding, UntypedProperty::SetFlags,
        UntypedProperty::Subscribe, UntypedProperty::Unsubscribe;
};

class Owner : public Object {
public:
    Owner() : first(_InfoOf(&first)), second(_InfoOf(&second)) {}
    Probe first, second;

private:
    PropertyInfo _InfoOf(const Probe* member) {
        return InfoOf(static_cast<int>(reinterpret_cast<const char*>(member) -
                                       reinterpret_cast<const char*>(this)));
    }
};

struct Observer : PropertyObserverImpl {
    Observer(Probe& property, std::function<void()> told)
        : PropertyObserverImpl(property.GetObject(), property.GetPropertyInfo()), act(told) {}
    void Notify() override { act(); }
    std::function<void()> act;
};

using Flags = UntypedProperty::Flags;

TEST(UntypedPropertyTest, InfoOwnerAndFlagsLastThroughEveryState) {
    for (const Flags flags : {Flags::None, Flags::First, Flags::Second, Flags::Both}) {
        const RefPtr<Owner> owner = MakeRefCounted<Owner>();
        const RefPtr<Owner> other = MakeRefCounted<Owner>();
        Probe& probe = owner->second;
        const PropertyInfo info = probe.GetPropertyInfo();
        Observer a(probe, [] {}), b(probe, [] {}), c(probe, [] {});
        probe.SetFlags(flags);
        const auto expect = [&](const char* state, bool bound,
                                std::vector<const PropertyObserverImpl*> observers) {
            SCOPED_TRACE(state);
            EXPECT_EQ(probe.HasBinding(), bound);
            EXPECT_EQ(probe.GetBinding() != nullptr, bound);
            const PropertyObserverImpl* observer = probe.GetObserverList();
            for (const PropertyObserverImpl* expected : observers) {
                ASSERT_EQ(observer, expected);
                observer = observer->next;
            }
            EXPECT_EQ(observer, nullptr);
            EXPECT_EQ(probe.GetFlags(), flags);
            EXPECT_EQ(probe.GetPropertyInfo().GetOffsetof(), info.GetOffsetof());
            EXPECT_EQ(probe.GetObject(), owner.get());
            EXPECT_EQ(probe.GetName(), "probe");
        };

        expect("plain", false, {});
        probe.Subscribe(&a);
        expect("observed", false, {&a});
        probe.Subscribe(&b);
        expect("observed twice", false, {&b, &a});
        probe.Bind(other->second);
        expect("bound", true, {&b, &a});
        EXPECT_EQ(other->second.GetObserverList(), probe.GetBinding());
        EXPECT_EQ(probe.GetBinding()->AsPropertyObserverImpl(), probe.GetBinding());
        EXPECT_EQ(a.AsPropertyObserverImpl(), nullptr);
        probe.Subscribe(&c);
        expect("bound and observed", true, {&c, &b, &a});
        probe.Unsubscribe(&b);
        expect("bound, one observer gone", true, {&c, &a});
        EXPECT_EQ(probe.Unbinding(), Status::Success);
        expect("no longer bound", false, {&c, &a});
        EXPECT_EQ(other->second.GetObserverList(), nullptr);
        probe.Unsubscribe(&c);
        probe.Unsubscribe(&c);
        expect("head gone", false, {&a});
        probe.Unsubscribe(&a);
        expect("plain again", false, {});
        probe.Bind(owner->first);
        expect("bound from plain", true, {});
        probe.Unbinding();
        EXPECT_EQ(probe.Unbinding(), Status::Success);
        expect("never observed", false, {});
    }
}

TEST(UntypedPropertyTest, WithoutInfoOrOffsetItHasNoOwnerAndNoObservers) {
    for (const PropertyInfo& info : {PropertyInfo(), InfoOf(-1)}) {
        testing::LogCatcher log;
        const RefPtr<Owner> owner = MakeRefCounted<Owner>();
        Probe probe(info);
        Observer observer(probe, [] {});

        EXPECT_EQ(probe.GetObject(), nullptr);
        probe.Subscribe(&observer);
        owner->first.Bind(owner->first);
        owner->first.Bind(probe);
        EXPECT_EQ(log.Take().size(), 3u);
        EXPECT_EQ(probe.GetObserverList(), nullptr);
        EXPECT_FALSE(owner->first.HasBinding());
        probe.Bind(owner->first);
        EXPECT_TRUE(probe.HasBinding());
    }
}

/// A list of three, and what its head does when it is told.
struct Stage {
    explicit Stage(bool bound) {
        if (bound)
            owner->first.Bind(source->first);
        for (const char* name : {"c", "b", "a", "new"})
            observers[name] = std::make_unique<Observer>(probe, [this, name] { told += name; });
        for (const char* name : {"c", "b", "a"})
            probe.Subscribe(observers[name].get());
    }
    Observer* At(const char* name) { return observers[name].get(); }
    void Drop(const char* name) {
        if (observers.count(name) != 0)
            probe.Unsubscribe(At(name));
        observers.erase(name);
    }

    std::string told;
    std::map<std::string, std::unique_ptr<Observer>> observers;
    RefPtr<Owner> source = MakeRefCounted<Owner>();
    RefPtr<Owner> owner = MakeRefCounted<Owner>();
    Probe& probe = owner->first;
};

TEST(UntypedPropertyTest, NotifyBearsWhatAnObserverDoes) {
    const struct {
        const char* name;
        std::function<void(Stage&)> act;
        const char* told;  // behind the head
    } cases[] = {
        {"nothing", [](Stage&) {}, "bc"},
        {"unlinks itself", [](Stage& s) { s.probe.Unsubscribe(s.At("a")); }, "bc"},
        {"deletes itself", [](Stage& s) { s.Drop("a"); }, "bc"},
        {"deletes the next", [](Stage& s) { s.Drop("b"); }, "c"},
        {"deletes the last", [](Stage& s) { s.Drop("c"); }, "b"},
        {"deletes itself and the next", [](Stage& s) { s.Drop("a"), s.Drop("b"); }, "c"},
        {"deletes all, the next first", [](Stage& s) { s.Drop("b"), s.Drop("a"), s.Drop("c"); },
         ""},
        {"clears its next", [](Stage& s) { s.At("a")->next = nullptr; }, "bc"},
        {"links a new one", [](Stage& s) { s.probe.Subscribe(s.At("new")); }, "bc"},
        {"moves to the head",
         [](Stage& s) { s.probe.Unsubscribe(s.At("a")), s.probe.Subscribe(s.At("a")); }, "bc"},
        {"moves the next to the head",
         [](Stage& s) { s.probe.Unsubscribe(s.At("b")), s.probe.Subscribe(s.At("b")); }, "c"},
        {"makes or replaces the binding", [](Stage& s) { s.probe.Bind(s.source->second); }, "bc"},
        {"ends the binding", [](Stage& s) { s.probe.Unbinding(); }, "bc"},
        {"destroys the property", [](Stage& s) { s.owner.reset(); }, ""},
        {"deletes itself and destroys the property", [](Stage& s) { s.Drop("a"), s.owner.reset(); },
         ""},
        {"tells the others first, of whom the next deletes the last",
         [](Stage& s) {
             s.At("a")->act = [] {};
             s.At("b")->act = [&s] { s.told += "b", s.Drop("c"); };
             s.probe.Notify();
         },
         "bb"},
    };
    for (const auto& c : cases) {
        for (const bool bound : {false, true}) {
            SCOPED_TRACE(std::string(c.name) + (bound ? ", bound" : ""));
            Stage stage(bound);
            stage.At("a")->act = [&stage, act = c.act] {
                const auto kept = act;  // also when this observer goes
                kept(stage);
            };
            stage.probe.Notify();
            EXPECT_EQ(stage.told, c.told);
            for (const auto& [name, observer] : stage.observers) {
                const bool left = !stage.owner && name != "new";
                EXPECT_EQ(observer->object == nullptr, left);
            }
        }
    }
}

TEST(UntypedPropertyTest, SecondBindingReplacesTheFunctionOnly) {
    const RefPtr<Owner> owner = MakeRefCounted<Owner>();
    const RefPtr<Owner> other = MakeRefCounted<Owner>();
    Status status = Status::Failure;
    std::string ran;

    owner->first.Bind(owner->second, [&] { ran += "1"; });
    owner->first.SetBinding(
        other->second, [&] { ran += "2"; }, &status);
    EXPECT_EQ(status, Status::Failure);  // not written
    other->second.Notify();
    EXPECT_EQ(ran, "");
    owner->second.Notify();
    EXPECT_EQ(ran, "2");
    owner->first.Bind(owner->second, {});
    owner->first.GetBinding()->Notify();
    EXPECT_EQ(ran, "2");
}

TEST(UntypedPropertyTest, BindingBearsWhatItsFunctionDoes) {
    struct Pair {
        RefPtr<Owner> source = MakeRefCounted<Owner>();
        RefPtr<Owner> target = MakeRefCounted<Owner>();
        std::string ran;
        void Bind() {
            target->first.Bind(source->first, [this] { ran += "y"; });
        }
    };
    const struct {
        const char* name;
        std::function<void(Pair&)> act;
        const char* ran;  // by a change within which it acts, and by another one
    } cases[] = {
        {"nothing", [](Pair&) {}, "xx"},
        {"ends the binding", [](Pair& p) { p.target->first.Unbinding(); }, "x"},
        {"destroys the target", [](Pair& p) { p.target.reset(); }, "x"},
        {"destroys the source", [](Pair& p) { p.source.reset(); }, "x"},
        {"destroys both", [](Pair& p) { p.source.reset(), p.target.reset(); }, "x"},
        {"replaces itself", [](Pair& p) { p.Bind(); }, "xy"},
        {"gets another one in its place",
         [](Pair& p) { p.target->first.GetBinding()->function = [&p] { p.ran += "y"; }; }, "xy"},
        {"removes itself", [](Pair& p) { p.target->first.Bind(p.source->first, {}); }, "x"},
        {"binds anew", [](Pair& p) { p.target->first.Unbinding(), p.Bind(); }, "xy"},
        {"runs again within itself",
         [](Pair& p) {
             if (p.ran.size() < 3)
                 p.source->first.Notify();
         },
         "xxxx"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Pair pair;
        const auto run = [&pair, act = c.act, held = std::make_shared<std::string>("x")] {
            pair.ran += "x";
            act(pair);
            EXPECT_EQ(*held, "x");
        };
        pair.target->first.Bind(pair.source->first, run);
        pair.source->first.Notify();
        if (pair.source)
            pair.source->first.Notify();
        EXPECT_EQ(pair.ran, c.ran);
    }
}

TEST(UntypedPropertyTest, SidesOfABindingDieInAnyOrder) {
    for (const bool sourceFirst : {false, true}) {
        RefPtr<Owner> source = MakeRefCounted<Owner>();
        RefPtr<Owner> target = MakeRefCounted<Owner>();
        auto held = std::make_shared<int>();
        target->second.Bind(source->first, [held] {});
        (sourceFirst ? source : target).reset();
        if (sourceFirst) {
            EXPECT_TRUE(target->second.HasBinding());
            EXPECT_EQ(target->second.GetBinding()->object, nullptr);
        } else {
            source->first.Notify();
            EXPECT_EQ(source->first.GetObserverList(), nullptr);
        }
        (sourceFirst ? target : source).reset();
        EXPECT_EQ(held.use_count(), 1);
    }
}

TEST(BindingEvaluateScopeTest, InnermostOfTheThreadIsCurrent) {
    RefPtr<Owner> owner = MakeRefCounted<Owner>();
    EXPECT_EQ(BindingEvaluateScope::Current(), nullptr);
    BindingEvaluateScope outer(&owner->first);
    {
        const BindingEvaluateScope inner(&owner->second);
        EXPECT_EQ(BindingEvaluateScope::Current(), &inner);
        EXPECT_EQ(inner.previous, &outer);
        std::thread([] { EXPECT_EQ(BindingEvaluateScope::Current(), nullptr); }).join();
        owner.reset();
        EXPECT_EQ(inner.property, nullptr);
    }
    EXPECT_EQ(BindingEvaluateScope::Current(), &outer);
    EXPECT_EQ(outer.property, nullptr);
}

}  // namespace
}  // namespace kiv
