#include "kiv/base/propertyInfo.h"

#include <string>
#include <utility>

#include "kiv/base/enum.h"

namespace kiv {

detail::PropertyNote::~PropertyNote() = default;

PropertyInfoImpl::PropertyInfoImpl(StringView name, Type declaringType, unsigned int flags,
                                   PropertyOptions options, int offset)
    : name_(name),
      declaring_type_(declaringType),
      flags_(static_cast<PropertyFlags>(flags)),
      offset_(offset),
      options_(std::move(options)) {}

PropertyInfoImpl::~PropertyInfoImpl() {
    delete note_.load();
}

Type PropertyInfoImpl::GetType() const {
    return Type();
}

Status PropertyInfoImpl::SetValue(Instance, const Value&) const {
    return Status::NotImplemented;
}

Value PropertyInfoImpl::GetValue(Instance, Status& status) const {
    status = Status::NotImplemented;
    return Value();
}

Status PropertyInfoImpl::SetField(Instance instance, const Value& value) const {
    return SetValue(instance, value);
}

Value PropertyInfoImpl::GetField(Instance instance, Status& status) const {
    return GetValue(instance, status);
}

const detail::PlainMember* PropertyInfoImpl::_GetPlainMember() const {
    return nullptr;
}

namespace {

/// What an operation on that handle and instance fails with before it begins.
const Status& Refusal(const PropertyInfo& property, const Instance& instance) {
    if (property.IsEmpty())
        return Status::InvalidOperation;
    return instance.IsEmpty() ? Status::InvalidParameter : Status::Success;
}

Value Read(const PropertyInfo& property, PropertyInfoImpl* impl, const Instance& instance,
           Value (PropertyInfoImpl::*read)(Instance, Status&) const, Status* status) {
    Status result = Refusal(property, instance);
    Value value = result ? (impl->*read)(instance, result) : Value();
    if (status)
        *status = std::move(result);
    return value;
}

}  // namespace

StringView PropertyInfo::GetName() const {
    return impl_ ? StringView(impl_->name_) : StringView();
}

Type PropertyInfo::GetDeclaringType() const {
    return impl_ ? impl_->declaring_type_ : Type();
}

Type PropertyInfo::GetType() const {
    return impl_ ? impl_->GetType() : Type();
}

PropertyFlags PropertyInfo::GetFlags() const {
    return impl_ ? impl_->flags_ : PropertyFlags::None;
}

PropertyOptions PropertyInfo::GetOptions() const {
    return impl_ ? impl_->options_ : PropertyOptions();
}

Enum PropertyInfo::GetEnum() const {
    return GetType().GetEnum();
}

bool PropertyInfo::IsEnum() const {
    return GetType().IsEnum();
}

bool PropertyInfo::IsReadOnly() const {
    return _HasFlags(PropertyFlags::Readable) && !_HasFlags(PropertyFlags::Writable);
}

bool PropertyInfo::IsBindable() const {
    return _HasFlags(PropertyFlags::Bindable);
}

bool PropertyInfo::IsStorable() const {
    return _HasFlags(PropertyFlags::Storable);
}

bool PropertyInfo::IsStatic() const {
    return false;
}

bool PropertyInfo::_HasFlags(PropertyFlags mask) const {
    return (GetFlags() & mask) == mask;
}

Value PropertyInfo::GetValue(Instance instance, Status* status) const {
    return Read(*this, impl_, instance, &PropertyInfoImpl::GetValue, status);
}

Value PropertyInfo::GetField(Instance instance, Status* status) const {
    return Read(*this, impl_, instance, &PropertyInfoImpl::GetField, status);
}

Status PropertyInfo::SetValue(Instance instance, const Value& value) const {
    const Status& refusal = Refusal(*this, instance);
    return refusal ? impl_->SetValue(instance, value) : refusal;
}

Status PropertyInfo::SetField(Instance instance, const Value& value) const {
    const Status& refusal = Refusal(*this, instance);
    return refusal ? impl_->SetField(instance, value) : refusal;
}

}  // namespace kiv
