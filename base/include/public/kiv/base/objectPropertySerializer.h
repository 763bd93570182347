// What makes every reflected object serializable with nothing written for it: the default body of
// `Object::operator<<`.
#ifndef KIV_BASE_OBJECT_PROPERTY_SERIALIZER_H_
#define KIV_BASE_OBJECT_PROPERTY_SERIALIZER_H_

#include "kiv/base/export.h"

namespace kiv {

class Archive;
class Object;

class KIV_BASE_API ObjectPropertySerializer {
public:
    /// Passes each storable property of the object through the archive under its name, inherited
    /// ones first, in either direction, and hands it back to the object. A property that the
    /// archive does not have, or that refuses what the archive has, keeps its value.
    static void Serialize(Archive& archive, Object* object);
};

}  // namespace kiv

#endif  // KIV_BASE_OBJECT_PROPERTY_SERIALIZER_H_
