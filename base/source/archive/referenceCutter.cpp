#include "archive/referenceCutter.h"

#include <string>
#include <unordered_map>

#include "kiv/base/archive.h"

namespace kiv::internal {
namespace {

class ReferenceCutter : public Archive {
public:
    ReferenceCutter() : Archive(std::unordered_map<std::string, Value>()) {}

    KIV_ARCHIVE_OVERRIDES
};

bool ReferenceCutter::IsRead() const {
    return true;
}

#define KIV_LEAVE_ALONE(Type, Name)                                       \
    Archive& ReferenceCutter::Serialize##Name(const StringView&, Type&) { \
        return *this;                                                     \
    }
KIV_FOR_EACH_ARCHIVE_SCALAR(KIV_LEAVE_ALONE)
#undef KIV_LEAVE_ALONE

Archive& ReferenceCutter::SerializeBoolArray(const StringView&, std::vector<bool>&) {
    return *this;
}

#define KIV_LEAVE_ALONE(Type, Name)                                                           \
    Archive& ReferenceCutter::Serialize##Name##Array(const StringView&, Array<Type>&) {       \
        return *this;                                                                         \
    }                                                                                         \
    Archive& ReferenceCutter::Serialize##Name##Array(const StringView&, std::vector<Type>&) { \
        return *this;                                                                         \
    }
KIV_FOR_EACH_ARCHIVE_ELEMENT(KIV_LEAVE_ALONE)
#undef KIV_LEAVE_ALONE

Archive& ReferenceCutter::SerializeObject(const StringView&, WeakPtr<Object>&) {
    return *this;
}

Archive& ReferenceCutter::SerializeObject(const StringView&, RefPtr<Object>& value) {
    value = nullptr;
    return *this;
}

Archive& ReferenceCutter::SerializeObjectArray(const StringView&, Array<WeakPtr<Object>>&) {
    return *this;
}

Archive& ReferenceCutter::SerializeObjectArray(const StringView&, Array<RefPtr<Object>>& value) {
    value.clear();
    return *this;
}

bool ReferenceCutter::BeginObject(const StringView&) {
    return true;
}

void ReferenceCutter::EndObject(const StringView&) {}

bool ReferenceCutter::BeginArray(const StringView&, unsigned int& size) {
    size = 0;
    return true;
}

void ReferenceCutter::EndArray(const StringView&) {}

bool ReferenceCutter::GetArrayElement(unsigned int) {
    return false;
}

void ReferenceCutter::ReleaseArrayElement() {}

}  // namespace

void CutReferences(Object& object) noexcept {
    try {
        ReferenceCutter cutter;
        object << cutter;
    } catch (...) {
        // What it still holds is the object's own doing.
    }
}

}  // namespace kiv::internal
