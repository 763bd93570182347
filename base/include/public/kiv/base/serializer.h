// The front end of an archive: an object into its stored form and back, with a `Status` in place of
// an exception. Take an archive itself to store anything but one object.
#ifndef KIV_BASE_SERIALIZER_H_
#define KIV_BASE_SERIALIZER_H_

#include "kiv/base/export.h"
#include "kiv/base/object.h"
#include "kiv/base/refPtr.h"
#include "kiv/base/status.h"
#include "kiv/base/stringView.h"

namespace kiv {

class KIV_BASE_API Serializer {
public:
    Serializer() = default;
    Serializer(const Serializer&) = delete;
    Serializer& operator=(const Serializer&) = delete;
    virtual ~Serializer();

    /// Stores the object, which may be null, with all that it owns references to. After a failure
    /// the stored form is the one from before.
    virtual Status Serialize(const RefPtr<Object>& object) = 0;
    /// The object of the stored form, or null. Its type is the stored one; `typeName`, a view of
    /// zero-terminated text, is only looked at by a form that can't read an unknown type. `status`
    /// may be null.
    virtual RefPtr<Object> Deserialize(const StringView& typeName, Status* status) = 0;
};

}  // namespace kiv

#endif  // KIV_BASE_SERIALIZER_H_
