#include "archive/referenceWalk.h"

#include <string>
#include <unordered_map>

#include "kiv/base/archive.h"

namespace kiv::internal {
namespace {

/// Finds nothing but references: with a visitor it writes and shows them, and without one it reads
/// null for each.
class ReferenceWalk : public Archive {
public:
    ReferenceWalk(const std::unordered_map<std::string, Value>& given,
                  const ReferenceVisitor* visit)
        : Archive(given), visit_(visit) {}

    KIV_ARCHIVE_OVERRIDES

private:
    const ReferenceVisitor* visit_;
};

bool ReferenceWalk::IsRead() const {
    return visit_ == nullptr;
}

#define KIV_LEAVE_ALONE(Type, Name)                                     \
    Archive& ReferenceWalk::Serialize##Name(const StringView&, Type&) { \
        return *this;                                                   \
    }
KIV_FOR_EACH_ARCHIVE_SCALAR(KIV_LEAVE_ALONE)
#undef KIV_LEAVE_ALONE

Archive& ReferenceWalk::SerializeBoolArray(const StringView&, std::vector<bool>&) {
    return *this;
}

#define KIV_LEAVE_ALONE(Type, Name)                                                         \
    Archive& ReferenceWalk::Serialize##Name##Array(const StringView&, Array<Type>&) {       \
        return *this;                                                                       \
    }                                                                                       \
    Archive& ReferenceWalk::Serialize##Name##Array(const StringView&, std::vector<Type>&) { \
        return *this;                                                                       \
    }
KIV_FOR_EACH_ARCHIVE_ELEMENT(KIV_LEAVE_ALONE)
#undef KIV_LEAVE_ALONE

Archive& ReferenceWalk::SerializeObject(const StringView&, WeakPtr<Object>&) {
    return *this;
}

Archive& ReferenceWalk::SerializeObject(const StringView&, RefPtr<Object>& value) {
    if (visit_)
        (*visit_)(value.get());
    else
        value = nullptr;
    return *this;
}

Archive& ReferenceWalk::SerializeObjectArray(const StringView&, Array<WeakPtr<Object>>&) {
    return *this;
}

Archive& ReferenceWalk::SerializeObjectArray(const StringView&, Array<RefPtr<Object>>& value) {
    if (!visit_) {
        value.clear();
        return *this;
    }
    const Array<RefPtr<Object>> objects = value;
    for (const RefPtr<Object>& object : objects)
        (*visit_)(object.get());
    return *this;
}

bool ReferenceWalk::BeginObject(const StringView&) {
    return true;
}

void ReferenceWalk::EndObject(const StringView&) {}

bool ReferenceWalk::BeginArray(const StringView&, unsigned int& size) {
    if (!visit_)
        size = 0;
    return true;
}

void ReferenceWalk::EndArray(const StringView&) {}

bool ReferenceWalk::GetArrayElement(unsigned int) {
    return false;
}

void ReferenceWalk::ReleaseArrayElement() {}

bool Walk(Object& object, const std::unordered_map<std::string, Value>& options,
          const ReferenceVisitor* visit) noexcept {
    try {
        ReferenceWalk walk(options, visit);
        object << walk;
        return true;
    } catch (...) {
        return false;
    }
}

}  // namespace

void CutReferences(Object& object, const std::unordered_map<std::string, Value>& options) noexcept {
    Walk(object, options, nullptr);  // what it still holds is the object's own doing
}

bool VisitReferences(Object& object, const std::unordered_map<std::string, Value>& options,
                     const ReferenceVisitor& visit) noexcept {
    return Walk(object, options, &visit);
}

}  // namespace kiv::internal
