#include "kiv/base/objectPropertySerializer.h"

#include "kiv/base/archive.h"
#include "kiv/base/archiveTypes.h"
#include "kiv/base/object.h"
#include "kiv/base/propertyInfo.h"
#include "kiv/base/value.h"

namespace kiv {

void ObjectPropertySerializer::Serialize(Archive& archive, Object* object) {
    const Type type = object->GetType();
    const Instance instance(object, type);
    for (const PropertyInfo& property : type.GetProperties()) {
        if (!property.IsStorable())
            continue;
        Value value = property.GetField(instance, nullptr);
        archive.Serialize<Value>(property.GetName(), value);
        property.SetField(instance, value);
    }
}

Archive& Object::operator<<(Archive& archive) {
    ObjectPropertySerializer::Serialize(archive, this);
    return archive;
}

}  // namespace kiv
