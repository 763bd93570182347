#include "kiv/base/cInterface.h"

#include "kiv/base/object.h"

const char* KIV_Base_Object_GetName(KIV_Base_Object* object) {
    // Held while its virtual function runs, whatever that does to other references.
    const kiv::RefPtr<kiv::Object> held(object);
    return held->GetName().data();
}

int KIV_Base_Object_Release(KIV_Base_Object* object) {
    if (object)
        object->Release();
    return 0;
}
