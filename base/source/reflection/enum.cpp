#include "kiv/base/enum.h"

namespace kiv {

EnumImpl::EnumImpl(Type declaringType) : declaring_type_(declaringType) {}

EnumImpl::~EnumImpl() = default;

Value EnumImpl::NameToValue(StringView name) const {
    for (uint64 i = 0; i < names_.size(); ++i)
        if (names_[i] == name)
            return values_[i];
    return Value();
}

StringView EnumImpl::ValueToName(const Value& value) const {
    for (uint64 i = 0; i < values_.size(); ++i)
        if (values_[i] == value)
            return names_[i];
    return StringView();
}

Type Enum::GetDeClaringType() const {
    return impl_ ? impl_->declaring_type_ : Type();
}

Type Enum::GetType() const {
    return impl_ ? impl_->GetType() : Type();
}

Type Enum::GetUnderlyingType() const {
    return impl_ ? impl_->GetUnderlyingType() : Type();
}

StringView Enum::GetName() const {
    return impl_ ? GetType().GetName() : StringView();
}

array_range<StringView> Enum::GetNames() const {
    if (!impl_)
        return {};
    const Array<StringView>& names = impl_->names_;
    return array_range<StringView>(names.data(), names.size());
}

Value Enum::NameToValue(StringView name) const {
    return impl_ ? impl_->NameToValue(name) : Value();
}

StringView Enum::ValueToName(const Value& value) const {
    return impl_ ? impl_->ValueToName(value) : StringView();
}

}  // namespace kiv
