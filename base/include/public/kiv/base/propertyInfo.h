// The handle to a property of a reflected type, and the record behind it.
//
//     PropertyInfo count = object->GetType().GetProperty("count");
//     Status status = count.SetValue(Instance(object.get()), 5);
//
// There are two ways in. `GetValue` and `SetValue` are the public road, with all that a public
// write does; `GetField` and `SetField` are the road of archives, which read and write the plain
// member. An empty handle answers every operation: with `Status::InvalidOperation`, or with
// nothing.
//
// A handle is copied freely and valid until the library is unloaded. What a read or write does to
// the object is as safe across threads as the object's own accessors.
#ifndef KIV_BASE_PROPERTY_INFO_H_
#define KIV_BASE_PROPERTY_INFO_H_

#include <array>
#include <atomic>
#include <memory>
#include <new>
#include <string>
#include <type_traits>

#include "kiv/base/export.h"
#include "kiv/base/integers.h"
#include "kiv/base/status.h"
#include "kiv/base/stringView.h"
#include "kiv/base/type.h"
#include "kiv/base/value.h"

namespace kiv {

class Enum;
class Object;
template <class T>
class RefPtr;
class TypeRegistry;

namespace internal {
class PropertyPlan;
}

namespace detail {

/// How a property that is nothing but its member is reached past `GetField` and `SetField`, with
/// the same outcome: the member is the value. The functions are there for a reference to an object
/// and for a list of them, and null for other types.
struct PlainMember {
    uint64 (*objectCount)(const void* member) = nullptr;
    Object* (*objectAt)(const void* member, uint64 index) = nullptr;
    /// False, and nothing has changed, if there is an object that is of no fitting class.
    bool (*storeObjects)(void* member, const RefPtr<Object>* objects, uint64 count) = nullptr;
};

/// What another part of the library knows of a property, and keeps with it.
class KIV_BASE_API PropertyNote {
public:
    virtual ~PropertyNote();
};

}  // namespace detail
class UntypedProperty;

/// What can be done with a property.
enum class PropertyFlags : uint32 {
    None = 0,
    Readable = 1,
    Writable = 2,
    Bindable = 4,
    Storable = 8,  // travels in archives
    Default = Readable | Writable | Storable,
};

constexpr PropertyFlags operator|(PropertyFlags a, PropertyFlags b) {
    return static_cast<PropertyFlags>(static_cast<uint32>(a) | static_cast<uint32>(b));
}
constexpr PropertyFlags operator&(PropertyFlags a, PropertyFlags b) {
    return static_cast<PropertyFlags>(static_cast<uint32>(a) & static_cast<uint32>(b));
}

/// Three values that the library stores with a property for the engine's own use.
struct PropertyOptions {
    std::array<Value, 3> values;
};

/// The target of a property operation: an object and its type. A class derived from `Object` is
/// pointed at as an `Object`, every other one as itself.
struct Instance {
    Instance() = default;
    Instance(void* target, Type targetType) : object(target), type(targetType) {}
    /// The object as what it is: with its dynamic type, if it is an `Object`.
    template <class T>
    explicit Instance(T* target) {
        if constexpr (std::is_base_of_v<Object, T>) {
            using Base = std::conditional_t<true, Object, T>;
            object = static_cast<Base*>(target);
            if (target)
                type = target->GetType();
        } else {
            object = target;
            type = Type::Declare<T>();
        }
    }

    bool IsEmpty() const { return object == nullptr; }

    void* object = nullptr;
    Type type;
};

/// The record of a property. The declaring type owns it and frees it as this class, whose
/// destructor is not virtual: a subclass holds nothing that needs destruction, and is made with
/// plain `new`.
class KIV_BASE_API PropertyInfoImpl {
public:
    PropertyInfoImpl(const PropertyInfoImpl&) = delete;
    PropertyInfoImpl& operator=(const PropertyInfoImpl&) = delete;

    /// The type of the property's value.
    virtual Type GetType() const;
    virtual Status SetValue(Instance instance, const Value& value) const;
    virtual Value GetValue(Instance instance, Status& status) const;
    virtual Status SetField(Instance instance, const Value& value) const;
    virtual Value GetField(Instance instance, Status& status) const;
    /// Null unless the property is a plain member, which lies at its offset.
    virtual const detail::PlainMember* _GetPlainMember() const;

protected:
    PropertyInfoImpl(StringView name, Type declaringType, unsigned int flags,
                     PropertyOptions options, int offset);
    ~PropertyInfoImpl();

    Type DeclaringType() const { return declaring_type_; }
    bool HasFlag(PropertyFlags flag) const { return (flags_ & flag) == flag; }

private:
    friend class PropertyInfo;
    friend class internal::PropertyPlan;
    friend struct std::default_delete<PropertyInfoImpl>;

    std::string name_;
    Type declaring_type_;
    PropertyFlags flags_;
    int32 offset_;
    PropertyOptions options_;
    mutable std::atomic<detail::PropertyNote*> note_ = nullptr;  // owned
};

class KIV_BASE_API PropertyInfo {
public:
    PropertyInfo() = default;
    explicit PropertyInfo(PropertyInfoImpl* impl) : impl_(impl) {}

    bool IsEmpty() const { return impl_ == nullptr; }

    StringView GetName() const;
    /// The class that declared the property.
    Type GetDeclaringType() const;
    Type GetType() const;
    PropertyFlags GetFlags() const;
    /// Of the member in the object, in bytes; -1 if there is no plain member.
    int GetOffsetof() const { return impl_ ? impl_->offset_ : -1; }
    PropertyOptions GetOptions() const;
    Enum GetEnum() const;
    bool IsEnum() const;
    /// Readable and not writable.
    bool IsReadOnly() const;
    bool IsBindable() const;
    bool IsStorable() const;
    bool IsStatic() const;
    /// True if all bits of the mask are set.
    bool _HasFlags(PropertyFlags mask) const;

    /// The value, and in `status`, which may be null, what became of it: `Status::InvalidOperation`
    /// for an empty handle, `Status::InvalidParameter` for an empty instance or one of an unrelated
    /// type.
    Value GetValue(Instance instance, Status* status) const;
    Value GetField(Instance instance, Status* status) const;
    /// The same codes; `Status::InvalidCast` for a value of another type, and the object is as it
    /// was.
    Status SetValue(Instance instance, const Value& value) const;
    Status SetField(Instance instance, const Value& value) const;

private:
    friend class TypeRegistry;
    friend class UntypedProperty;
    friend class internal::PropertyPlan;

    PropertyInfoImpl* impl_ = nullptr;
};

static_assert(sizeof(PropertyInfo) == sizeof(void*));

}  // namespace kiv

template <>
struct std::default_delete<kiv::PropertyInfoImpl> {
    void operator()(kiv::PropertyInfoImpl* object) const {
        object->kiv::PropertyInfoImpl::~PropertyInfoImpl();
        ::operator delete(object);
    }
};

#endif  // KIV_BASE_PROPERTY_INFO_H_
