#include "kiv/base/object.h"

#include "kiv/base/propertyInfo.h"

namespace kiv {

TypedObject::~TypedObject() = default;

ObjectImpl::ObjectImpl() = default;

ObjectImpl::~ObjectImpl() = default;

Object::Object() : Object(new ObjectImpl) {}

Object::Object(ObjectImpl* impl) : impl_(impl) {}

Object::~Object() = default;

Type Object::GetType() const {
    return GetStaticType();
}

StringView Object::GetName() const {
    return StringView();
}

Parcel& Object::Serialize(Parcel& parcel) {
    return parcel;
}

Parcel& Object::Deserialize(Parcel& parcel) {
    return parcel;
}

Type Object::GetStaticType() {
    return Type::Declare<Object>();
}

bool Object::IsInstanceOf(const Type& type) const {
    return type.IsBaseOf(GetType());
}

Value Object::GetProperty(StringView name, Status* status) {
    const Type type = GetType();
    const PropertyInfo property = type.GetProperty(name);
    if (property.IsEmpty()) {
        if (status)
            *status = Status::InvalidParameter;
        return Value();
    }
    return property.GetValue(Instance(this, type), status);
}

Status Object::SetProperty(StringView name, const Value& value) {
    const Type type = GetType();
    const PropertyInfo property = type.GetProperty(name);
    if (property.IsEmpty())
        return Status::InvalidParameter;
    return property.SetValue(Instance(this, type), value);
}

void Object::SetName(StringView) {}

}  // namespace kiv
