// The objects that values refer to and that types create.
#include "kiv/base/object.h"
#include "kiv/base/typeInfo.h"
#include "kiv/base/value.h"

namespace kiv {
namespace {

bool IsUsable(const Object* object) {
    return object && object->IsInstanceOf<Object>();
}

}  // namespace

RefPtr<Object> Value::_GetObject(Status* status) const {
    StatusPtr report(status);
    if (!IsEmpty() && _TypeIs<RefPtr<Object>>())
        if (Object* object = ObjectAt(0); IsUsable(object))
            return RefPtr<Object>(object);
    report = Status::InvalidCast;
    return RefPtr<Object>();
}

Array<RefPtr<Object>> Value::_GetObjects(Status* status) const {
    StatusPtr report(status);
    using Objects = Array<RefPtr<Object>>;
    if (IsEmpty() || !_TypeIs<Objects>()) {
        report = Status::InvalidCast;
        return *static_cast<const Objects*>(
            _FailGet(&detail::DefaultValueFactory<Objects>::Invoke, Type::Declare<Objects>()));
    }
    Objects result;
    const uint64 count = static_cast<uint64>(ObjectCount());
    result.reserve(count);
    for (uint64 i = 0; i < count; ++i) {
        Object* object = ObjectAt(i);
        result.emplace_back(RefPtr<Object>(IsUsable(object) ? object : nullptr));
    }
    return result;
}

RefPtr<Object> Type::_CreateObject() const {
    return info_->CreateObject();
}

RefPtr<Object> TypeInfo::CreateObject() const {
    return factory ? factory->CreateObject() : nullptr;
}

RefPtr<Object> rttr::CreateInstanceFactory::CreateObject() const {
    return CreateInstance().Get<RefPtr<Object>>();
}

}  // namespace kiv
