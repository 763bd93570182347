// A property of an object: a value that tells who observes it when it changes, and that can follow
// other properties.
//
//     class Box : public kiv::Object {
//         KIV_OBJECT(Box, kiv::Object)
//     public:
//         kiv::Property<double> width{kiv::PropertyInfoOf<&Box::width>(), 1};
//         kiv::Property<double> area{kiv::PropertyInfoOf<&Box::area>()};
//     };
//     static const bool registered = kiv::Registration::Class<Box>("Box")
//                                        .Property("width", &Box::width)
//                                        .Property("area", &Box::area)
//                                        .Creatable();
//
//     box->area.Bind([box = box.get()] { return box->width.Get() * box->width.Get(); });
//     const kiv::PropertyObserver observer = box->area.Observe([&] { Redraw(); });
//     box->width.Set(3);  // area is 9 now, and the callback was called
//
// A property is observed as a registered member of an `Object`, where it lies at the offset that
// its `PropertyInfo` records. Made without one it is a plain value, and observing or reading it in
// an expression is a failed check. Reflection and archives see the value alone:
// `Object::SetProperty` is a `Set`, while an archive writes the value without telling anybody. So
// what follows a property that was loaded is behind until one of its sources changes, or it is
// bound anew.
//
// An exception from a callback or an expression comes out of the `Set` that led to it. The value
// stays set, but those that were still to be told are not: what follows it is behind until the next
// new value.
//
// All properties that are linked with each other belong to one thread at a time.
#ifndef KIV_BASE_PROPERTY_H_
#define KIV_BASE_PROPERTY_H_

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "kiv/base/export.h"
#include "kiv/base/integers.h"
#include "kiv/base/propertyInfo.h"
#include "kiv/base/registration.h"
#include "kiv/base/status.h"
#include "kiv/base/stringView.h"
#include "kiv/base/type.h"
#include "kiv/base/untypedProperty.h"

namespace kiv {

namespace detail {

class PropertyCore;

/// An observer that is linked from its making to its end, unless its property dies first.
class KIV_BASE_API PropertyLink : public PropertyObserverImpl {
public:
    explicit PropertyLink(PropertyCore& property);
    ~PropertyLink() override;

    /// Null once the property died.
    PropertyCore* GetProperty() const { return object ? property_ : nullptr; }
    /// Unlinks and deletes it, also from within its own `Notify`.
    void Drop();

private:
    void _Unlink();

    PropertyCore* const property_;
};

template <class F>
class CallbackObserver final : public PropertyLink {
public:
    CallbackObserver(PropertyCore& property, F&& callback)
        : PropertyLink(property), callback_(std::move(callback)) {}
    void Notify() override { callback_(); }

private:
    F callback_;
};

/// What a bound property follows. It links itself to the properties that it reads, anew each time.
class KIV_BASE_API PropertyExpression {
public:
    PropertyExpression(const PropertyExpression&) = delete;
    PropertyExpression& operator=(const PropertyExpression&) = delete;

protected:
    explicit PropertyExpression(PropertyCore* target);
    virtual ~PropertyExpression();

    /// A subclass calls it first when it goes: what it holds may change a source in going.
    void _DropSources();

    PropertyCore* const target_;

private:
    friend class PropertyCore;
    class Source;
    struct Follow;
    struct Reading;

    /// Evaluates the expression and keeps what it gives.
    virtual void Compute() = 0;
    /// Gives that to the property, which tells its observers if it is something new.
    virtual void Deliver() = 0;

    void _AddSource(PropertyCore& property);
    PropertyCore* _TakeSource();
    bool _HasAllSources() const;
    bool _Evaluate();
    void _Follow();
    void _TakeRounds();
    bool _NeedsAnotherRound();

    PropertyBindingImpl* binding_ = nullptr;  // which holds this expression, but while it runs
    std::vector<std::unique_ptr<Source>> sources_;  // without that of the binding
    std::size_t expected_ = 0;                      // the one that was read next the last time
    uint64 cutOffIn_ = 0;                           // the failure of which it was a part
    int rounds_ = 0;                                // of the present run, behind the first
    bool isFirstRead_ = false;                      // the source of the binding, the last time
    bool fresh_ = false;                            // computed and not delivered yet
    bool running_ = true;                           // also until it is bound
    bool changed_ = false;                          // a source did since it was read
};

}  // namespace detail

/// Keeps a callback linked to a property. The link ends with this handle, also from within the
/// callback, or with the property.
class [[nodiscard]] PropertyObserver {
public:
    PropertyObserver() = default;
    void Reset() { link_.reset(); }

private:
    friend class detail::PropertyCore;
    struct Drop {
        void operator()(detail::PropertyLink* link) const { link->Drop(); }
    };
    explicit PropertyObserver(detail::PropertyLink* link) : link_(link) {}

    std::unique_ptr<detail::PropertyLink, Drop> link_;
};

namespace detail {

/// What a property does whatever the type of its value.
class KIV_BASE_API PropertyCore : public UntypedProperty {
public:
    /// Calls `callback` after each change, while the handle lives. The newest observer is called
    /// first. A callback may do anything, also to this property and to other observers.
    template <class F>
    requires std::is_invocable_v<F&> PropertyObserver Observe(F callback) {
        return PropertyObserver(new CallbackObserver<F>(*this, std::move(callback)));
    }

protected:
    using UntypedProperty::UntypedProperty;
    ~PropertyCore() = default;

    /// Makes this property a source of the expression that is being evaluated, if there is one.
    void _NoteRead() const;
    void _Bind(std::shared_ptr<PropertyExpression> expression);
    /// Gives what the binding ran, to be kept until the operation is through: what that holds may
    /// be the last reference to the owner.
    std::function<void()> _EndBinding();

private:
    friend class PropertyExpression;
    friend class PropertyLink;
};

/// The property that the class declared at that offset; empty as long as there is none.
KIV_BASE_API PropertyInfo FindProperty(Type declaringType, int offset);

template <class Member>
struct ClassOfMember;
template <class T, class M>
struct ClassOfMember<M T::*> {
    using type = T;
};

}  // namespace detail

/// The property that is registered with that member, which its class has declared itself. It is
/// looked up once; objects that are made before the registration get an empty handle.
template <auto member>
PropertyInfo PropertyInfoOf() {
    static constinit std::atomic<PropertyInfo> found{PropertyInfo()};
    PropertyInfo info = found.load(std::memory_order_acquire);
    if (info.IsEmpty()) [[unlikely]] {
        using Class = typename detail::ClassOfMember<decltype(member)>::type;
        info = detail::FindProperty(Type::Declare<Class>(), detail::MemberOffset(member));
        found.store(info, std::memory_order_release);
    }
    return info;
}

template <class T>
class Property : public detail::PropertyCore {
    static_assert(!detail::OneOf<T, const char*, StringView, std::string_view>,
                  "A property keeps its text: take std::string.");

public:
    explicit Property(const PropertyInfo& info, T value = T())
        : PropertyCore(info), value_(std::move(value)) {}
    // Before the value goes, and may change what this property follows.
    ~Property() {
        if (HasBinding())
            Unbinding();
    }

    const T& Get() const {
        _NoteRead();
        return value_;
    }
    /// Ends the binding, if there is one, and tells the observers if the value is a new one:
    /// numbers and the library's records are compared by their bytes, everything else with `==`.
    void Set(const T& value) { _Set(value); }
    void Set(T&& value) { _Set(std::move(value)); }
    /// Follows `source`, from its present value on, in place of what this property followed before.
    /// It keeps its value when the source dies, or with `Unbinding`.
    void Bind(const Property& source) {
        Bind([&source]() -> const T& { return source.Get(); });
    }
    /// Follows a function that gives a `T`: it is evaluated now and after each change of a property
    /// that it read the last time, until one of these dies, and does nothing but read. One that
    /// reads no other property has nothing to follow, and sets the value once. It must not hold a
    /// `RefPtr` to the owner, which would then never go. When bindings lead back to this property
    /// and never agree on a value, that is a failed check after a hundred rounds.
    template <class F>
    requires std::is_invocable_r_v<T, F&>
    void Bind(F expression) {
        _Bind(std::make_shared<Expression<F>>(*this, std::move(expression)));
    }

private:
    template <class, class>
    friend struct detail::MemberAccess;

    template <class F>
    class Expression final : public detail::PropertyExpression {
    public:
        Expression(Property& target, F&& expression)
            : PropertyExpression(&target), expression_(std::move(expression)) {}
        ~Expression() override { _DropSources(); }

    private:
        void Compute() override {
            T value = expression_();  // so that the compiler sees what the conversion loses
            value_.emplace(std::move(value));
        }
        void Deliver() override {
            T value = *std::move(value_);
            value_.reset();
            static_cast<Property*>(target_)->_Assign(std::move(value));
        }

        F expression_;
        std::optional<T> value_;
    };

    template <class U>
    void _Set(U&& value) {
        if (HasBinding()) [[unlikely]]
            return _EndBindingAndAssign(std::forward<U>(value));
        _Assign(std::forward<U>(value));
    }
    // Apart, so that a property that is not bound has no function to destroy.
    template <class U>
    void _EndBindingAndAssign(U&& value) {
        const std::function<void()> ended = _EndBinding();
        _Assign(std::forward<U>(value));
    }
    template <class U>
    void _Assign(U&& value) {
        if (detail::IsSameValue<T>(value_, value))
            return;
        // The old value goes last: it may hold the last reference to the owner.
        T other(std::forward<U>(value));
        std::swap(value_, other);
        Notify();
    }

    T value_;
};

namespace detail {

template <class V>
inline constexpr PropertyFlags DefaultPropertyFlags<Property<V>> =
    PropertyFlags::Default | PropertyFlags::Bindable;

/// Reflection reads and writes the value in place of the property.
template <class T, class V>
struct MemberAccess<T, Property<V>> {
    using Member = V;
    Property<V> T::*member;

    const V& Load(const T& object) const { return (object.*member).Get(); }
    Status Store(T& object, const V& value) const {
        (object.*member).value_ = value;
        return Status::Success;
    }
    Status Set(T& object, const V& value) const {
        (object.*member).Set(value);
        return Status::Success;
    }
    int Offset() const { return MemberOffset(member); }
};

}  // namespace detail

}  // namespace kiv

#endif  // KIV_BASE_PROPERTY_H_
