#include "kiv/base/object.h"

#include <new>
#include <utility>
#include <vector>

#include "kiv/base/propertyInfo.h"
#include "platform/stackRoom.h"

namespace kiv {
namespace {

/// The destructors of objects that run on the thread.
struct Destruction {
    unsigned int depth = 0;
    std::vector<const TypedObject*>* waiting = nullptr;  // made when it is needed
};

constinit thread_local Destruction destruction;

// So many run within one another before the next one waits: a long chain then needs little stack,
// and leaves no deep traces to tools that record them.
constexpr unsigned int kDeepest = 256;

/// False if there is no memory for the list either.
bool PutOff(const TypedObject* object) noexcept {
    try {
        if (!destruction.waiting)
            destruction.waiting = new std::vector<const TypedObject*>;
        destruction.waiting->push_back(object);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

}  // namespace

void TypedObject::_DestroyUnreferenced(const TypedObject* object) noexcept {
    Destruction& state = destruction;
    const bool waits = state.depth >= kDeepest || (state.depth > 0 && !internal::HasStackRoom());
    if (waits && PutOff(object))
        return;
    ++state.depth;
    delete object;
    while (state.depth == 1 && state.waiting) {
        if (state.waiting->empty()) {
            delete std::exchange(state.waiting, nullptr);
            break;
        }
        const TypedObject* const next = state.waiting->back();
        state.waiting->pop_back();
        delete next;
    }
    --state.depth;
}

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
