// The handle to the table of an enumeration: its names and their values, in the order of
// declaration.
//
//     Enum mode = Type::Get<Mode>().GetEnum();
//     Mode off = mode.NameToValue("Off").Get<Mode>();
//
// An invalid handle answers every operation with nothing. A handle is valid until the library is
// unloaded; reading it is safe from any thread once registration has ended.
#ifndef KIV_BASE_ENUM_H_
#define KIV_BASE_ENUM_H_

#include <memory>
#include <new>

#include "kiv/base/array.h"
#include "kiv/base/arrayRange.h"
#include "kiv/base/export.h"
#include "kiv/base/stringView.h"
#include "kiv/base/type.h"
#include "kiv/base/value.h"

namespace kiv {

namespace rttr {
class MakeTypeInfo;
}
namespace detail {
class PropertyImplBase;
}

/// The record of an enumeration. Its `TypeInfo` owns it and frees it as this class, whose
/// destructor is not virtual: a subclass holds nothing that needs destruction, and is made with
/// plain `new`.
class KIV_BASE_API EnumImpl {
public:
    EnumImpl(const EnumImpl&) = delete;
    EnumImpl& operator=(const EnumImpl&) = delete;

    virtual Type GetUnderlyingType() const = 0;
    virtual Type GetType() const = 0;

    /// The value of the first item of that name; empty if there is none.
    Value NameToValue(StringView name) const;
    /// The name of the first item of that value; empty if there is none, and for values of another
    /// type than the enumeration's own.
    StringView ValueToName(const Value& value) const;

protected:
    explicit EnumImpl(Type declaringType);
    ~EnumImpl();

private:
    friend class Enum;
    friend class detail::PropertyImplBase;
    friend struct std::default_delete<EnumImpl>;
    friend class rttr::MakeTypeInfo;

    Type declaring_type_;
    Array<StringView> names_;  // static text
    Array<Value> values_;
};

class KIV_BASE_API Enum {
public:
    Enum() = default;
    explicit Enum(const EnumImpl* impl) : impl_(impl) {}

    friend bool operator==(Enum a, Enum b) { return a.impl_ == b.impl_; }
    explicit operator bool() const { return impl_ != nullptr; }
    bool Invalid() const { return impl_ == nullptr; }

    Type GetDeClaringType() const;
    Type GetType() const;
    Type GetUnderlyingType() const;
    /// The registered name of the enumeration.
    StringView GetName() const;
    array_range<StringView> GetNames() const;
    Value NameToValue(StringView name) const;
    StringView ValueToName(const Value& value) const;

private:
    friend class detail::PropertyImplBase;

    const EnumImpl* impl_ = nullptr;
};

static_assert(sizeof(Enum) == sizeof(void*));

}  // namespace kiv

template <>
struct std::default_delete<kiv::EnumImpl> {
    void operator()(kiv::EnumImpl* object) const {
        object->kiv::EnumImpl::~EnumImpl();
        ::operator delete(object);
    }
};

#endif  // KIV_BASE_ENUM_H_
