#include "kiv/base/type.h"

#include <algorithm>
#include <memory>

#include "kiv/base/enum.h"
#include "kiv/base/propertyInfo.h"
#include "kiv/base/registration.h"
#include "kiv/base/typeInfo.h"
#include "kiv/base/typeRegistry.h"
#include "kiv/base/value.h"
#include "platform/modulePin.h"

namespace kiv {
namespace {

template <class T>
array_range<T> RangeOf(const std::vector<T>& list) {
    return array_range<T>(list.data(), list.size());
}

bool Has(const TypeInfo& info, TypeTrait trait) {
    return info.traits[static_cast<std::size_t>(trait)];
}

// Whether the elements of a vector of `a` can stand for those of a vector of `b`: the two have to
// lie in memory alike, so neither records of a derived class nor pointers beside what they point at
// will do.
bool ElementIs(const Type& a, const Type& b) {
    if (a == b)
        return true;
    const bool alike = (a.IsWrapper() && b.IsWrapper()) || (a.IsPointer() && b.IsPointer()) ||
                       (a.IsVector() && b.IsVector());
    return alike && TypeIs(a, b);
}

}  // namespace

Type Type::_DeclareType(const std::type_info& id, StringView rawName, Type rawType,
                        Type wrappedType, Type rawArrayType, uint64 size, TypeTraits traits) {
    // The record points into the module, and so do the tables of the values that it makes.
    platform::PinModuleOf(rawName.data());
    platform::PinModuleOf(&id);
    return rttr::MakeTypeInfo::DeclareType(id, rawName, rawType, wrappedType, rawArrayType, size,
                                           traits);
}

Type Type::Find(const std::type_info& id) {
    return TypeRegistry::GetInstance().FindType(id);
}

Type Type::Find(StringView name) {
    return TypeRegistry::GetInstance().FindTypeByName(name);
}

StringView Type::GetName() const {
    return info_->name;
}

StringView Type::GetRawName() const {
    return info_->raw_name;
}

const std::type_info& Type::GetTypeid() const {
    return *info_->id;
}

uint64 Type::GetTypeSize() const {
    return info_->size;
}

Type Type::GetRawType() const {
    return info_->raw_type;
}

Type Type::GetWrappedType() const {
    return info_->wrapped_type;
}

Type Type::GetRawArrayType() const {
    return info_->raw_array_type;
}

Type Type::GetBaseType() const {
    return Type();
}

array_range<Type> Type::GetBaseTypes() const {
    return RangeOf(info_->class_info.base_types);
}

array_range<Type> Type::GetDerivedTypes() const {
    return RangeOf(info_->class_info.derived_types);
}

array_range<PropertyInfo> Type::GetProperties() const {
    return RangeOf(info_->class_info.properties);
}

PropertyInfo Type::GetProperty(StringView name) const {
    return PropertyInfo(info_->raw_type.info_->class_info.property_index.Find(name));
}

Enum Type::GetEnum() const {
    return Enum(info_->enumeration.get());
}

bool Type::IsArithmetic() const {
    return Has(*info_, TypeTrait::Arithmetic);
}

bool Type::IsEnum() const {
    return Has(*info_, TypeTrait::Enumeration);
}

bool Type::IsPointer() const {
    return Has(*info_, TypeTrait::Pointer);
}

bool Type::IsVector() const {
    return Has(*info_, TypeTrait::Array);
}

bool Type::IsStruct() const {
    return info_->is_struct;
}

bool Type::IsAbstract() const {
    return info_->factory == nullptr;
}

bool Type::IsWrapper() const {
    return info_->wrapped_type != Type();
}

bool Type::IsBaseOf(const Type& other) const {
    const Type base = info_->raw_type;
    const Type derived = other.info_->raw_type;
    if (base == derived)
        return true;
    // The same question as whether `derived` stands among the derived types of `base`, put to the
    // list that stays short: a root has thousands of derived types, a class has a few bases.
    const std::vector<Type>& list = derived.info_->class_info.base_types;
    return std::any_of(list.begin(), list.end(),
                       [base](const Type& type) { return type.GetRawType() == base; });
}

Value Type::CreateInstance(Status* status) const {
    return info_->CreateInstance(status);
}

bool TypeIs(const Type& a, const Type& b) {
    if (b.IsBaseOf(a))
        return true;
    if (a.IsWrapper() && b.IsWrapper())
        return TypeIs(a.GetWrappedType(), b.GetWrappedType());
    if (a.IsVector() && b.IsVector())
        return ElementIs(a.GetRawArrayType(), b.GetRawArrayType());
    return false;
}

Value TypeInfo::CreateInstance(Status* status) const {
    StatusPtr report(status);
    if (factory)
        return factory->CreateInstance();
    report = Status::Failure;
    return Value();
}

}  // namespace kiv
