// The class under which a buffer takes part in the object model; what `Buffer::ToBufferObject`
// gives.
#ifndef KIV_BASE_BUFFER_OBJECT_H_
#define KIV_BASE_BUFFER_OBJECT_H_

#include "kiv/base/export.h"
#include "kiv/base/object.h"

namespace kiv {

class KIV_BASE_API BufferObject : public Object {
    KIV_OBJECT(BufferObject, Object)

protected:
    BufferObject() = default;
    ~BufferObject() override;
};

}  // namespace kiv

#endif  // KIV_BASE_BUFFER_OBJECT_H_
