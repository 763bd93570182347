// The handle to a type's record in the process-wide table: one pointer, so that comparing two types
// is comparing two pointers.
//
//     Type type = Type::Find("Sample");
//     RefPtr<Object> sample = type.CreateInstance(&status).Get<RefPtr<Object>>();
//
// A default `Type` is the type "Any", which stands for the absence of a type; queries answer with
// it when nothing is found, and every operation on it is defined. A type has two names: the raw
// name, under which archives know it, and the registered name, which `Find` takes and which is
// empty until somebody registered the type (see registration.h).
//
// Declaring and finding is safe from any thread. Reading a record takes no lock, so its lists may
// be read once the registration of the type, its bases and its derived types has ended. A handle is
// valid until the library is unloaded.
#ifndef KIV_BASE_TYPE_H_
#define KIV_BASE_TYPE_H_

#include <atomic>
#include <bitset>
#include <functional>
#include <type_traits>
#include <typeinfo>

#include "kiv/base/arrayRange.h"
#include "kiv/base/export.h"
#include "kiv/base/integers.h"
#include "kiv/base/status.h"
#include "kiv/base/stringView.h"
#include "kiv/base/typeName.h"

namespace kiv {

class Enum;
class Object;
class PropertyInfo;
class TypeRegistry;
class Value;
struct TypeInfo;
template <class T>
class Array;
template <class T>
class RefPtr;

namespace rttr {
class MakeTypeInfo;
}

namespace detail {

/// A type that nothing is ever of.
struct invalid_type {};

}  // namespace detail

/// What `Type` knows of a type's category; the positions are those of the stored bits.
enum class TypeTrait : std::size_t {
    Class = 0,
    Enumeration = 1,
    Array = 2,
    Pointer = 4,
    Arithmetic = 5,
    Sequence = 10,
};
using TypeTraits = std::bitset<12>;

class KIV_BASE_API Type {
public:
    /// The type "Any".
    Type() : info_(any_) {}

    /// The type of `T`, declared at the first call in the process.
    template <class T>
    static Type Declare();
    template <class T>
    static Type Get() {
        return Declare<T>();
    }
    /// The declared type of that identity, or the one registered under that name; `Type()` if there
    /// is none.
    static Type Find(const std::type_info& id);
    static Type Find(StringView name);

    /// The registered name; empty if nobody registered the type.
    StringView GetName() const;
    /// The name under which archives know the type; null-terminated.
    StringView GetRawName() const;
    const std::type_info& GetTypeid() const;
    /// In bytes.
    uint64 GetTypeSize() const;
    /// For `T*` the type `T`, otherwise the type itself.
    Type GetRawType() const;
    /// For a smart pointer to `T` the type `T*`, otherwise `Type()`.
    Type GetWrappedType() const;
    /// For an `Array<E>` the type `E`, otherwise `Type()`.
    Type GetRawArrayType() const;
    /// Always `Type()`: a type can have several bases, see `GetBaseTypes`.
    Type GetBaseType() const;
    /// Direct and indirect bases, roots first.
    array_range<Type> GetBaseTypes() const;
    /// Direct and indirect derived types, in the order of their definition.
    array_range<Type> GetDerivedTypes() const;
    /// All properties, inherited ones first.
    array_range<PropertyInfo> GetProperties() const;
    /// The property of that name, that of the most derived class if there are several; also works
    /// on a pointer type. Empty if there is none.
    PropertyInfo GetProperty(StringView name) const;
    /// The table of an enumeration; invalid for other types.
    Enum GetEnum() const;

    bool IsArithmetic() const;
    bool IsEnum() const;
    bool IsPointer() const;
    bool IsVector() const;
    bool IsStruct() const;
    /// True if no instance can be created.
    bool IsAbstract() const;
    bool IsWrapper() const;
    /// True if `other` is this type or derived from it; pointers count as what they point at.
    bool IsBaseOf(const Type& other) const;

    /// A new instance, a class derived from `Object` as a `RefPtr` to it. Without a factory an
    /// empty `Value` and `Status::Failure`.
    Value CreateInstance(Status* status = nullptr) const;
    /// The same for a class derived from `Object`; null if there is no object.
    RefPtr<Object> _CreateObject() const;

    friend bool operator==(Type a, Type b) { return a.info_ == b.info_; }

    /// The part of a declaration that does not depend on the type. `rawName` has to live as long as
    /// the library: the module that holds it is kept in memory from here on.
    static Type _DeclareType(const std::type_info& id, StringView rawName, Type rawType,
                             Type wrappedType, Type rawArrayType, uint64 size, TypeTraits traits);

private:
    friend struct std::less<Type>;
    friend struct std::hash<Type>;
    friend class TypeRegistry;
    friend class Value;
    friend class rttr::MakeTypeInfo;

    explicit constexpr Type(TypeInfo* info) : info_(info) {}

    template <class T>
    static Type _DeclareType();

    static TypeInfo* any_;  // the record of "Any", set by the registry

    TypeInfo* info_;
};

static_assert(sizeof(Type) == sizeof(void*));
static_assert(std::is_trivially_copyable_v<Type>);

/// True if a value of type `a` can be used as one of type `b`.
KIV_BASE_API bool TypeIs(const Type& a, const Type& b);

namespace detail {

template <class T>
struct TypeShape {
    static TypeTraits Traits() {
        TypeTraits traits;
        traits[static_cast<std::size_t>(TypeTrait::Class)] =
            std::is_class_v<T> || std::is_union_v<T>;
        traits[static_cast<std::size_t>(TypeTrait::Enumeration)] = std::is_enum_v<T>;
        traits[static_cast<std::size_t>(TypeTrait::Arithmetic)] = std::is_arithmetic_v<T>;
        return traits;
    }
    static Type RawType() { return Type(); }
    static Type WrappedType() { return Type(); }
    static Type RawArrayType() { return Type(); }
};

template <class T>
struct TypeShape<T*> : TypeShape<void> {
    static TypeTraits Traits() {
        return TypeTraits().set(static_cast<std::size_t>(TypeTrait::Pointer));
    }
    static Type RawType() { return Type::Declare<T>(); }
};

template <class T>
struct TypeShape<RefPtr<T>> : TypeShape<void> {
    static TypeTraits Traits() {
        return TypeTraits().set(static_cast<std::size_t>(TypeTrait::Class));
    }
    static Type WrappedType() { return Type::Declare<T*>(); }
};

template <class T>
struct TypeShape<Array<T>> : TypeShape<void> {
    static TypeTraits Traits() {
        return TypeTraits()
            .set(static_cast<std::size_t>(TypeTrait::Class))
            .set(static_cast<std::size_t>(TypeTrait::Array))
            .set(static_cast<std::size_t>(TypeTrait::Sequence));
    }
    static Type RawArrayType() { return Type::Declare<T>(); }
};

template <class T>
consteval uint64 SizeOf() {
    if constexpr (std::is_void_v<T>)
        return 0;
    else
        return sizeof(T);
}

}  // namespace detail

template <class T>
Type Type::Declare() {
    using Bare = std::remove_cvref_t<T>;
    if constexpr (!std::is_same_v<T, Bare>) {
        return Declare<Bare>();
    } else {
        // Not a static that is initialised under a guard: declaring enters the loader to keep the
        // module in memory, and the loader may be waiting for this very guard in another thread. A
        // type that is declared twice gets the one record it has.
        static constinit std::atomic<TypeInfo*> val{nullptr};
        TypeInfo* info = val.load(std::memory_order_acquire);
        if (info == nullptr) [[unlikely]] {
            info = _DeclareType<T>().info_;
            val.store(info, std::memory_order_release);
        }
        return Type(info);
    }
}

template <class T>
Type Type::_DeclareType() {
    using Shape = detail::TypeShape<T>;
    return _DeclareType(typeid(T), detail::RawName<T>(), Shape::RawType(), Shape::WrappedType(),
                        Shape::RawArrayType(), detail::SizeOf<T>(), Shape::Traits());
}

}  // namespace kiv

KIV_RAW_NAME(::kiv::detail::invalid_type, "struct kiv::detail::invalid_type")

template <>
struct std::less<kiv::Type> {
    bool operator()(kiv::Type a, kiv::Type b) const {
        return std::less<kiv::TypeInfo*>()(a.info_, b.info_);
    }
};

template <>
struct std::hash<kiv::Type> {
    std::size_t operator()(kiv::Type type) const noexcept {
        return std::hash<kiv::TypeInfo*>()(type.info_);
    }
};

#endif  // KIV_BASE_TYPE_H_
