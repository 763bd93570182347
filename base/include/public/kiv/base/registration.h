// Registration: gives a declared type its name, its bases, its properties and a factory, so that it
// can be found by name, created from an archive, and read and written without knowing its class.
//
//     static const bool registered =
//         kiv::Registration::Class<Sample>("Sample")
//             .Property("count", &Sample::count_)
//             .Property("title", &Sample::GetTitle, &Sample::SetTitle)
//             .ReadOnly("area", &Sample::GetArea)
//             .Creatable();
//     static const bool mode =
//         kiv::Registration::Enum<Mode>("Mode").Item("Off", Mode::Off).Item("On", Mode::On).Done();
//
// A registration that cannot stand (a name that is taken or empty, a type that has a name, a
// property declared after the definition) is refused before anything changes: it is logged once as
// a failed check that names the class, and its terminal gives false. A base that is not registered
// yet is no mistake.
//
// Registration runs in static initialisers, one thread at a time, before others read the type.
#ifndef KIV_BASE_REGISTRATION_H_
#define KIV_BASE_REGISTRATION_H_

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "kiv/base/enum.h"
#include "kiv/base/export.h"
#include "kiv/base/geometry.h"
#include "kiv/base/propertyInfo.h"
#include "kiv/base/stringView.h"
#include "kiv/base/type.h"
#include "kiv/base/typeInfo.h"
#include "kiv/base/value.h"

namespace kiv {

class Object;

namespace detail {

template <class... Bases>
struct BaseList {};

/// The direct bases of a class that does not carry KIV_OBJECT; see KIV_BASE_CLASSES.
template <class T>
struct BasesOf {
    using type = BaseList<>;
};

template <class T>
requires requires {
    typename T::KivBases;
}
struct BasesOf<T> {
    static_assert(std::is_same_v<typename T::KivClass, T>,
                  "A class derived from kiv::Object needs KIV_OBJECT in its own body.");
    using type = typename T::KivBases;
};

/// Reports a base whose properties could not be found in an instance.
KIV_BASE_API void ReportBaseNotAtStart(Type type, Type base);

struct base_class_info {
    Type type;
    void* (*cast)(void*);  // from the class to this base
};

/// The bases of `T`, direct and indirect, the bases of a base before it.
template <class T>
struct base_classes {
    static std::vector<base_class_info> get_types() {
        static_assert(!std::is_base_of_v<Object, T> || std::is_same_v<Object, T> ||
                          !std::is_same_v<typename BasesOf<T>::type, BaseList<>>,
                      "KIV_OBJECT names the reflected classes that the class derives from.");
        std::vector<base_class_info> types;
        _Append(types, typename BasesOf<T>::type());
        return types;
    }

private:
    template <class... Bases>
    static void _Append(std::vector<base_class_info>& types, BaseList<Bases...>) {
        (_AppendOne<Bases>(types), ...);
    }
    template <class Base>
    static void _AppendOne(std::vector<base_class_info>& types) {
        static_assert(std::is_base_of_v<Base, T>, "The class does not derive from this base.");
        static_assert(std::is_base_of_v<Object, T> == std::is_base_of_v<Object, Base>,
                      "The reflected bases of an object class are object classes.");
        static_assert(
            requires(Base * base) { static_cast<T*>(base); },
            "A reflected base cannot be a virtual or an ambiguous one.");
        void* (*const cast)(void*) = [](void* object) -> void* {
            return static_cast<Base*>(static_cast<T*>(object));
        };
        // An instance of a plain class is pointed at as itself, so the properties of a base are
        // found only at its start.
        if constexpr (!std::is_base_of_v<Object, T>) {
            alignas(T) static unsigned char place[sizeof(T)];
            if (cast(place) != place)
                return ReportBaseNotAtStart(Type::Declare<T>(), Type::Declare<Base>());
        }
        _Append(types, typename BasesOf<Base>::type());
        types.push_back({Type::Declare<Base>(), cast});
    }
};

}  // namespace detail

namespace rttr {

/// The operations that registration is made of. They check nothing and report nothing: a taken name
/// has no visible effect, and a second definition of a type adds its bases again.
class KIV_BASE_API MakeTypeInfo {
public:
    static Type DeclareType(const std::type_info& id, StringView rawName, Type rawType,
                            Type wrappedType, Type rawArrayType, uint64 size, TypeTraits traits);
    template <class T>
    static void DefineType(StringView name, std::unique_ptr<CreateInstanceFactory> factory) {
        const Type type = Type::Declare<T>();
        std::vector<detail::base_class_info> bases = detail::base_classes<T>::get_types();
        _DefineBaseClasses(type, bases);
        _DefineType(type, name, std::move(factory));
    }
    /// Removes repeated bases (the last one of each stays), sorts the rest so that a base stands in
    /// front of what derives from it, and records them.
    static void _DefineBaseClasses(Type type, std::vector<detail::base_class_info>& bases);
    static void _DefineType(Type type, StringView name,
                            std::unique_ptr<CreateInstanceFactory> factory);
    static void _DeclareProperty(Type type, std::unique_ptr<PropertyInfoImpl>&& impl);
    /// Gives an enumeration its table, unless it has one.
    static void _AttachEnum(Type type, std::unique_ptr<EnumImpl> impl);
    /// The name is static text. Nothing happens if the type has no table.
    static void _DeclareEnumItem(Type type, StringView name, const Value& value);
};

}  // namespace rttr

namespace detail {

template <class T>
T* InstanceCast(void* object) {
    if constexpr (std::is_base_of_v<Object, T>) {
        using Base = std::conditional_t<true, Object, T>;
        return static_cast<T*>(static_cast<Base*>(object));
    } else {
        return static_cast<T*>(object);
    }
}

/// The type as which an enumeration travels in archives: its underlying integer, of a width that
/// has a name there.
template <class E>
struct EnumNumberOf {
    using Underlying = std::underlying_type_t<E>;
    using type = std::conditional_t<
        std::is_same_v<Underlying, bool>, bool,
        std::conditional_t<
            std::is_signed_v<Underlying>,
            std::conditional_t<
                sizeof(E) == 1, int8,
                std::conditional_t<sizeof(E) == 2, int16,
                                   std::conditional_t<sizeof(E) == 4, int32, int64>>>,
            std::conditional_t<
                sizeof(E) == 1, uint8,
                std::conditional_t<sizeof(E) == 2, uint16,
                                   std::conditional_t<sizeof(E) == 4, uint32, uint64>>>>>;
};
template <class E>
using EnumNumber = typename EnumNumberOf<E>::type;

template <class T>
inline constexpr bool IsEnumArray = false;
template <class T>
inline constexpr bool IsEnumArray<Array<T>> = std::is_enum_v<T>;

/// How a member of type `M` passes through a `Value`. `Read` calls `assign` with the contents only
/// if they are of that type.
template <class M>
struct PropertyValue {
    using Stored = std::conditional_t<OneOf<M, StringView, std::string_view, const char*>,
                                      std::string, typename StoredAs<M>::type>;
    static_assert(ValueType<Stored> && !IsEnumArray<Stored>,
                  "A Value cannot hold the type of this property, or archives cannot store it.");

    static Type GetType() { return Type::Declare<Stored>(); }
    static Value Write(const M& member) {
        if constexpr (std::is_same_v<M, Stored>)
            return Value(member);
        else
            return Value(static_cast<Stored>(member));
    }
    template <class Assign>
    static Status Read(const Value& value, Assign&& assign) {
        Status status;
        const Stored& contents = value.Get<Stored>(&status);
        if (!status)
            return status;
        if constexpr (std::is_same_v<M, const char*>)
            return assign(contents.c_str());
        else if constexpr (std::is_same_v<M, Stored>)
            return assign(contents);
        else
            return assign(static_cast<M>(contents));
    }
};

/// True if the object can stand where a `T` is wanted; null always can.
template <class T>
bool CanNarrow(Object* object) {
    using Base = std::conditional_t<true, Object, T>;
    return object == nullptr || Type::Declare<T>().IsBaseOf(static_cast<Base*>(object)->GetType());
}

/// Appends the objects that `at(index)` gives, or as many of them as come before one that can't
/// stand there, and is false then.
template <class T, class At>
bool NarrowAll(uint64 count, At at, Array<RefPtr<T>>& narrowed) {
    narrowed.reserve(count);
    for (uint64 i = 0; i < count; ++i) {
        Object* const object = at(i);
        if (!CanNarrow<T>(object))
            return false;
        narrowed.emplace_back(RefPtr<T>(InstanceCast<T>(object)));
    }
    return true;
}

template <class T>
struct PropertyValue<RefPtr<T>> {
    static_assert(std::is_base_of_v<Object, T> && !std::is_const_v<T>,
                  "A property refers to a class derived from kiv::Object.");
    static Type GetType() { return Type::Declare<RefPtr<T>>(); }
    static Value Write(const RefPtr<T>& member) { return Value(member); }
    template <class Assign>
    static Status Read(const Value& value, Assign&& assign) {
        if (value.ObjectCount() < 0 || value.GetType().IsVector())
            return Status::InvalidCast;
        Object* object = value.ObjectAt(0);
        if (!CanNarrow<T>(object))
            return Status::InvalidCast;
        return assign(RefPtr<T>(InstanceCast<T>(object)));
    }
};

template <class T>
struct PropertyValue<Array<RefPtr<T>>> {
    static Type GetType() { return Type::Declare<Array<RefPtr<T>>>(); }
    static Value Write(const Array<RefPtr<T>>& member) { return Value(member); }
    template <class Assign>
    static Status Read(const Value& value, Assign&& assign) {
        // Handed back as it is, the array keeps the buffer that it shares.
        if (const Array<RefPtr<T>>* same = value.GetIf<Array<RefPtr<T>>>())
            return assign(*same);
        const int64 count = value.ObjectCount();
        if (count < 0 || !value.GetType().IsVector())
            return Status::InvalidCast;
        Array<RefPtr<T>> narrowed;
        const auto at = [&value](uint64 index) { return value.ObjectAt(index); };
        if (!NarrowAll(static_cast<uint64>(count), at, narrowed))
            return Status::InvalidCast;
        return assign(narrowed);
    }
};

/// The plain member of type `M`, or null where its value is not what lies in the member.
template <class M>
struct PlainMemberOf {
    static const PlainMember* Get() {
        static constexpr PlainMember member;
        if constexpr (!std::is_enum_v<M> && std::is_same_v<M, typename PropertyValue<M>::Stored>)
            return &member;
        else
            return nullptr;
    }
};

template <class T>
struct PlainMemberOf<RefPtr<T>> {
    static const RefPtr<T>& Read(const void* member) {
        return *static_cast<const RefPtr<T>*>(member);
    }
    static bool Store(void* member, const RefPtr<Object>* objects, uint64) {
        Object* const object = objects->get();
        if (!CanNarrow<T>(object))
            return false;
        *static_cast<RefPtr<T>*>(member) = RefPtr<T>(InstanceCast<T>(object));
        return true;
    }
    static const PlainMember* Get() {
        static constexpr PlainMember member = {
            [](const void*) -> uint64 { return 1; },
            [](const void* at, uint64) -> Object* { return Read(at).get(); }, &Store};
        return &member;
    }
};

template <class T>
struct PlainMemberOf<Array<RefPtr<T>>> {
    static const Array<RefPtr<T>>& Read(const void* member) {
        return *static_cast<const Array<RefPtr<T>>*>(member);
    }
    static bool Store(void* member, const RefPtr<Object>* objects, uint64 count) {
        Array<RefPtr<T>> narrowed;
        const auto at = [objects](uint64 index) { return objects[index].get(); };
        if (!NarrowAll(count, at, narrowed))
            return false;
        static_cast<Array<RefPtr<T>>*>(member)->swap(narrowed);
        return true;
    }
    static const PlainMember* Get() {
        static constexpr PlainMember member = {
            [](const void* at) -> uint64 { return Read(at).size(); },
            [](const void* at, uint64 index) -> Object* { return Read(at)[index].get(); }, &Store};
        return &member;
    }
};

// How a property reaches its member. `Set` is the public write, `Store` that of an archive, and
// both take what `M` says; a policy has only what its property can do.

/// Of the member in the object as an `Instance` points at it, in bytes.
template <class T, class M>
int MemberOffset(M T::*member) {
    // A pointer to a data member is the distance from the start of the class.
    using Distance = std::conditional_t<sizeof(member) == sizeof(int32), int32, std::ptrdiff_t>;
    std::ptrdiff_t offset = std::bit_cast<Distance>(member);
    if constexpr (std::is_base_of_v<Object, T>) {
        using Base = std::conditional_t<true, Object, T>;
        // Any address will do: a cast to a base that is not virtual looks at nothing.
        constexpr std::uintptr_t kAnywhere = 64 * alignof(T);
        const auto base =
            reinterpret_cast<std::uintptr_t>(static_cast<Base*>(reinterpret_cast<T*>(kAnywhere)));
        offset -= static_cast<std::ptrdiff_t>(base - kAnywhere);
    }
    return static_cast<int>(offset);
}

/// True for plain data of which each byte is part of the value.
template <class M>
inline constexpr bool IsMadeOfItsBytes =
    std::has_unique_object_representations_v<M> || OneOf<M, float, double>;
#define KIV_RECORD(Record) \
    template <>            \
    inline constexpr bool IsMadeOfItsBytes<Record> = true;
KIV_FOR_EACH_RECORD(KIV_RECORD)
#undef KIV_RECORD

/// True if writing `value` over `present` would change nothing. What is made of its bytes is
/// compared by them: what compares equal within a tolerance is still not the same.
template <class M>
bool IsSameValue(const M& present, const M& value) {
    if constexpr (std::is_same_v<M, const char*>)
        return std::string_view(present) == value;
    else if constexpr (IsMadeOfItsBytes<M>)
        return std::memcmp(&present, &value, sizeof(M)) == 0;
    else if constexpr (!std::is_trivially_copyable_v<M> || OneOf<M, StringView, std::string_view>)
        return present == value;
    else if (std::memcmp(&present, &value, sizeof(M)) == 0)
        return true;  // what compares unequal to itself, too
    else if constexpr (requires { present == value; })
        return present == value;  // the difference may lie in its padding
    else
        return false;
}

/// Of a property that is a member of type `M`, unless the registration says otherwise.
template <class M>
inline constexpr PropertyFlags DefaultPropertyFlags = PropertyFlags::Default;

template <class T, class M>
struct MemberAccess {
    using Member = std::remove_const_t<M>;
    static constexpr bool stores_plainly = !std::is_const_v<M>;
    M T::*member;

    const Member& Load(const T& object) const { return object.*member; }
    Status Store(T& object, const Member& value) const requires(!std::is_const_v<M>) {
        object.*member = value;
        return Status::Success;
    }
    Status Set(T& object, const Member& value) const requires(!std::is_const_v<M>) {
        return Store(object, value);
    }
    int Offset() const { return MemberOffset(member); }
};

/// Calls a setter, and passes on the `Status` that it may give.
template <class T, class Setter, class M>
Status CallSetter(Setter setter, T& object, const M& value) {
    static_assert(std::is_invocable_v<Setter, T&, const M&>,
                  "The setter does not take what the getter gives.");
    if constexpr (std::is_same_v<std::invoke_result_t<Setter, T&, const M&>, Status>) {
        return std::invoke(setter, object, value);
    } else {
        std::invoke(setter, object, value);
        return Status::Success;
    }
}

template <class T, class M, class Setter>
struct MemberWithSetterAccess : MemberAccess<T, M> {
    using Member = typename MemberAccess<T, M>::Member;
    Setter setter;

    Status Set(T& object, const Member& value) const { return CallSetter(setter, object, value); }
};

template <class T, class Getter>
struct GetterAccess {
    using Member = std::remove_cvref_t<std::invoke_result_t<Getter, const T&>>;
    Getter getter;

    decltype(auto) Load(const T& object) const { return std::invoke(getter, object); }
    int Offset() const { return -1; }
};

template <class T, class Getter, class Setter>
struct AccessorAccess : GetterAccess<T, Getter> {
    using Member = typename GetterAccess<T, Getter>::Member;
    Setter setter;

    Status Set(T& object, const Member& value) const { return CallSetter(setter, object, value); }
    // An archive hands every value back after it has written it; what is there already is not set
    // again, so that saving an object does not fire its setters.
    Status Store(T& object, const Member& value) const {
        if (IsSameValue<Member>(this->Load(object), value))
            return Status::Success;
        return Set(object, value);
    }
};

template <class T, class M>
struct ReadOnlyMemberAccess {
    using Member = typename MemberAccess<T, M>::Member;
    static constexpr bool stores_plainly = requires {
        requires MemberAccess<T, M>::stores_plainly;
    };
    MemberAccess<T, M> access;

    const Member& Load(const T& object) const { return access.Load(object); }
    Status Store(T& object, const Member& value) const requires(!std::is_const_v<M>) {
        return access.Store(object, value);
    }
    int Offset() const { return access.Offset(); }
};

/// The parts of a property's operations that do not depend on its type.
class KIV_BASE_API PropertyImplBase : public PropertyInfoImpl {
protected:
    using PropertyInfoImpl::PropertyInfoImpl;
    ~PropertyImplBase() = default;

    /// The table of types confirms that the instance is of the class that declared the property.
    bool _Accepts(const Instance& instance) const {
        return instance.type == DeclaringType() || DeclaringType().IsBaseOf(instance.type);
    }
    /// The enumeration has no table, or the number is made of the bits of its items: that lets
    /// flags through and keeps the number within the range of the enumeration.
    static bool _IsMadeOfItems(const Enum& table, uint64 number, uint64 (*numberOf)(const Value&));
};

template <class T, class Access>
class PropertyImpl final : public PropertyImplBase {
    using M = typename Access::Member;
    using Passes = PropertyValue<M>;
    static_assert(std::is_trivially_destructible_v<Access>,
                  "A property is freed as its base: its accessors must hold nothing to destroy.");

public:
    PropertyImpl(StringView name, PropertyFlags flags, PropertyOptions options, Access access)
        : PropertyImplBase(name, Type::Declare<T>(), static_cast<unsigned int>(flags),
                           std::move(options), access.Offset()),
          access_(access) {}

    Type GetType() const override { return Passes::GetType(); }

    Value GetValue(Instance instance, Status& status) const override {
        if (!_Accepts(instance)) {
            status = Status::InvalidParameter;
            return Value();
        }
        if (!HasFlag(PropertyFlags::Readable)) {
            status = Status::InvalidOperation;
            return Value();
        }
        return Passes::Write(access_.Load(_Object(instance)));
    }

    Status SetValue(Instance instance, const Value& value) const override {
        if (!_Accepts(instance))
            return Status::InvalidParameter;
        if (!HasFlag(PropertyFlags::Writable))
            return Status::InvalidOperation;
        if constexpr (requires(T & object, const M& member) { access_.Set(object, member); })
            return Passes::Read(
                value, [&](const M& member) { return access_.Set(_Object(instance), member); });
        else
            return Status::InvalidOperation;
    }

    Value GetField(Instance instance, Status& status) const override {
        if (!_Accepts(instance)) {
            status = Status::InvalidParameter;
            return Value();
        }
        if constexpr (std::is_enum_v<M>)
            return Value(static_cast<EnumNumber<M>>(access_.Load(_Object(instance))));
        else
            return Passes::Write(access_.Load(_Object(instance)));
    }

    Status SetField(Instance instance, const Value& value) const override {
        if (!_Accepts(instance))
            return Status::InvalidParameter;
        if constexpr (requires(T & object, const M& member) { access_.Store(object, member); }) {
            const auto store = [&](const M& member) {
                return access_.Store(_Object(instance), member);
            };
            if constexpr (std::is_enum_v<M>) {
                Status status;
                const auto number = value.Get<EnumNumber<M>>(&status);
                if (status)
                    return _IsMadeOfItems(Type::Declare<M>().GetEnum(), static_cast<uint64>(number),
                                          &_NumberOf)
                               ? store(static_cast<M>(number))
                               : Status::InvalidCast;
            }
            return Passes::Read(value, store);
        } else {
            return Status::InvalidOperation;
        }
    }

    const PlainMember* _GetPlainMember() const override {
        if constexpr (requires { requires Access::stores_plainly; })
            return PlainMemberOf<M>::Get();
        else
            return nullptr;
    }

private:
    static T& _Object(const Instance& instance) { return *InstanceCast<T>(instance.object); }
    static uint64 _NumberOf(const Value& item) {
        return static_cast<uint64>(static_cast<EnumNumber<M>>(item.Get<M>()));
    }

    Access access_;
};

template <class T>
class InstanceFactory final : public rttr::CreateInstanceFactory {
public:
    Value CreateInstance() const override {
        if constexpr (std::is_base_of_v<Object, T>) {
            return Value(MakeRefCounted<T>());
        } else {
            static_assert(ValueType<T>,
                          "An instance is created in a Value, which cannot hold this.");
            return Value(T());
        }
    }
    RefPtr<Object> CreateObject() const override {
        if constexpr (std::is_base_of_v<Object, T>)
            return MakeRefCounted<T>();
        else
            return nullptr;
    }
};

/// Makes instances with a function that gives a `RefPtr` to one, or one by value.
template <class Make>
class FunctionFactory final : public rttr::CreateInstanceFactory {
    static_assert(std::is_trivially_destructible_v<Make>,
                  "A factory is freed as its base: it must hold nothing to destroy.");

public:
    explicit FunctionFactory(Make make) : make_(make) {}
    Value CreateInstance() const override { return Value(make_()); }

private:
    Make make_;
};

template <class E>
class EnumTable final : public EnumImpl {
public:
    EnumTable() : EnumImpl(Type::Declare<E>()) {}
    Type GetUnderlyingType() const override { return Type::Declare<EnumNumber<E>>(); }
    Type GetType() const override { return Type::Declare<E>(); }
};
enum class AnyEnum {};
static_assert(sizeof(EnumTable<AnyEnum>) == sizeof(EnumImpl), "It is freed as its base.");

/// The one field of a registration, the name, and what is done with it.
class KIV_BASE_API RegistrationName {
protected:
    RegistrationName(Type type, StringView name);

    /// True if members may still be declared; refuses the registration otherwise.
    bool _MayDeclare(Type type);
    /// The same for a member of that name, which has to be one of its own.
    bool _MayDeclare(Type type, StringView member);
    /// Defines the type, unless this registration was refused or is done, and empties the name.
    /// `bases` may be null.
    bool _Define(Type type, std::vector<base_class_info> (*bases)(),
                 std::unique_ptr<rttr::CreateInstanceFactory> factory);
    /// What the end of the object's life does: as `_Define`, but nothing is wrong with an empty
    /// name.
    void _DefineAtEnd(Type type, std::vector<base_class_info> (*bases)());

private:
    bool _IsRefused() const;
    void _Refuse(Type type, const char* condition, const char* reason);

    StringView name_;
};

static_assert(sizeof(RegistrationName) == sizeof(StringView));

}  // namespace detail

class Registration {
public:
    template <class T>
    class Class;
    template <class E>
    class Enum;
};

template <class T>
class Registration::Class : private detail::RegistrationName {
public:
    /// Declares the type. The name has to live as long as this object.
    explicit Class(StringView name) : RegistrationName(Type::Declare<T>(), name) {}
    Class(const Class&) = delete;
    Class& operator=(const Class&) = delete;
    /// Defines the type without a factory, if no terminal did so before and the name is not empty.
    ~Class() { _DefineAtEnd(Type::Declare<T>(), &detail::base_classes<T>::get_types); }

    /// A property that is a plain member.
    template <class Base, class M>
    requires(!std::is_function_v<M>) Class& Property(
        StringView name, M Base::*member, PropertyFlags flags = detail::DefaultPropertyFlags<M>,
        PropertyOptions options = {}) {
        return _Declare(name, flags, std::move(options), _Member(member));
    }
    /// A plain member that the public road writes through a setter, and archives directly.
    template <class Base, class M, class Setter>
    requires(!std::is_function_v<M> &&
             std::is_invocable_v<Setter, T&, const typename detail::MemberAccess<T, M>::Member&>)
        Class& Property(StringView name, M Base::*member, Setter setter,
                        PropertyFlags flags = detail::DefaultPropertyFlags<M>,
                        PropertyOptions options = {}) {
        return _Declare(name, flags, std::move(options),
                        detail::MemberWithSetterAccess<T, M, Setter>{_Member(member), setter});
    }
    /// A property behind a getter and a setter: member functions, or functions and captureless
    /// lambdas that take the object first. A setter may give a `Status`, which reaches the caller.
    template <class Getter, class Setter>
    requires(!std::is_member_object_pointer_v<Getter> && std::is_invocable_v<Getter, const T&> &&
             !std::is_same_v<Setter, PropertyFlags>)
        Class& Property(StringView name, Getter getter, Setter setter,
                        PropertyFlags flags = PropertyFlags::Default,
                        PropertyOptions options = {}) {
        return _Declare(name, flags, std::move(options),
                        detail::AccessorAccess<T, Getter, Setter>{{getter}, setter});
    }
    /// A property that the public road only reads. With `PropertyFlags::Storable` among the flags a
    /// plain member still travels in archives, both ways.
    template <class Base, class M>
    requires(!std::is_function_v<M>) Class& ReadOnly(StringView name, M Base::*member,
                                                     PropertyFlags flags = PropertyFlags::Readable,
                                                     PropertyOptions options = {}) {
        return _Declare(name, flags, std::move(options),
                        detail::ReadOnlyMemberAccess<T, M>{_Member(member)});
    }
    template <class Getter>
    requires(!std::is_member_object_pointer_v<Getter> && std::is_invocable_v<Getter, const T&>)
        Class& ReadOnly(StringView name, Getter getter,
                        PropertyFlags flags = PropertyFlags::Readable,
                        PropertyOptions options = {}) {
        return _Declare(name, flags, std::move(options), detail::GetterAccess<T, Getter>{getter});
    }

    /// Terminals: define the type, with a factory or without one. True if it is registered now.
    bool Creatable() {
        return _Define(
            Type::Declare<T>(), &detail::base_classes<T>::get_types,
            std::unique_ptr<rttr::CreateInstanceFactory>(new detail::InstanceFactory<T>));
    }
    /// With a factory of its own, for a class that is not made by a public constructor without
    /// arguments: a function or captureless lambda that gives a `RefPtr` to a new instance.
    template <class Make>
    requires std::is_invocable_v<Make>
    bool Creatable(Make make) {
        return _Define(
            Type::Declare<T>(), &detail::base_classes<T>::get_types,
            std::unique_ptr<rttr::CreateInstanceFactory>(new detail::FunctionFactory<Make>(make)));
    }
    bool Abstract() {
        return _Define(Type::Declare<T>(), &detail::base_classes<T>::get_types, nullptr);
    }

private:
    template <class M, class Base>
    static detail::MemberAccess<T, M> _Member(M Base::*member) {
        return {static_cast<M T::*>(member)};
    }
    template <class Access>
    Class& _Declare(StringView name, PropertyFlags flags, PropertyOptions options, Access access) {
        if (_MayDeclare(Type::Declare<T>(), name))
            rttr::MakeTypeInfo::_DeclareProperty(
                Type::Declare<T>(),
                std::unique_ptr<PropertyInfoImpl>(
                    new detail::PropertyImpl<T, Access>(name, flags, std::move(options), access)));
        return *this;
    }
};

template <class E>
class Registration::Enum : private detail::RegistrationName {
    static_assert(std::is_enum_v<E>);

public:
    /// Declares the type and attaches the table of items.
    explicit Enum(StringView name) : RegistrationName(Type::Declare<E>(), name) {
        if (_MayDeclare(Type::Declare<E>()))
            rttr::MakeTypeInfo::_AttachEnum(Type::Declare<E>(),
                                            std::unique_ptr<EnumImpl>(new detail::EnumTable<E>));
    }
    Enum(const Enum&) = delete;
    Enum& operator=(const Enum&) = delete;
    ~Enum() { _DefineAtEnd(Type::Declare<E>(), nullptr); }

    /// The name is static text. Of several items with one value the first names it.
    Enum& Item(StringView name, E value) {
        if (_MayDeclare(Type::Declare<E>(), name))
            rttr::MakeTypeInfo::_DeclareEnumItem(Type::Declare<E>(), name, Value(value));
        return *this;
    }
    /// The terminal: true if the enumeration is registered now.
    bool Done() { return _Define(Type::Declare<E>(), nullptr, nullptr); }
};

}  // namespace kiv

/// Names the direct bases of a class that cannot carry KIV_OBJECT. Stands outside all namespaces,
/// before the class is registered.
#define KIV_BASE_CLASSES(Class, ...)                       \
    template <>                                            \
    struct kiv::detail::BasesOf<Class> {                   \
        using type = ::kiv::detail::BaseList<__VA_ARGS__>; \
    };

#endif  // KIV_BASE_REGISTRATION_H_
