#include "kiv/base/objectPropertySerializer.h"

#include "archive/propertyPlan.h"
#include "kiv/base/object.h"
#include "kiv/base/propertyInfo.h"

namespace kiv {

void ObjectPropertySerializer::Serialize(Archive& archive, Object* object) {
    const Type type = object->GetType();
    const Instance instance(object, type);
    for (const PropertyInfo& property : type.GetProperties()) {
        if (property.IsStorable())
            internal::PropertyPlan::Serialize(archive, property, instance);
    }
}

Archive& Object::operator<<(Archive& archive) {
    ObjectPropertySerializer::Serialize(archive, this);
    return archive;
}

}  // namespace kiv
