#include "object/cInterface_objects.h"

#include "kiv/base/object.h"

namespace {

class Nameless : public kiv::Object {};

class Named : public kiv::Object {
public:
    Named() { ++alive; }
    kiv::StringView GetName() const override { return "lamp"; }
    static inline int alive = 0;

protected:
    ~Named() override { --alive; }
};

}  // namespace

KIV_Base_Object* MakeNamelessObject(void) {
    return kiv::MakeRefCounted<Nameless>().Release();
}

KIV_Base_Object* MakeNamedObject(void) {
    return kiv::MakeRefCounted<Named>().Release();
}

void AddReference(KIV_Base_Object* object) {
    object->AddRef();
}

int CountNamedObjects(void) {
    return Named::alive;
}
