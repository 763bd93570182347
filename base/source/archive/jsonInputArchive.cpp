#include <cinttypes>
#include <string>

#include "archive/jsonArchiveState.h"
#include "archive/jsonReader.h"
#include "archive/nesting.h"
#include "kiv/base/jsonArchive.h"
#include "kiv/base/logging.h"
#include "kiv/base/rapidjsonHelper.h"

namespace kiv {
namespace {

constexpr char kTag[] = "JsonInputArchive";
constexpr char kObjectTag[] = "JsonInputArchive::SerializeObject";

std::string TextOf(const StringView& name) {
    return std::string(internal::UpToZero(name));
}

}  // namespace

JsonInputArchive::JsonInputArchive(const std::unordered_map<std::string, Value>& given)
    : JsonArchive(given) {}

JsonInputArchive::~JsonInputArchive() = default;

void JsonInputArchive::FromString(const std::string& text) {
    state_->reader.Load(text);
}

bool JsonInputArchive::IsRead() const {
    return true;
}

void JsonInputArchive::_NoteLostObjects() {
    state_->read_objects.TakeBack();
}

template <class T>
Archive& JsonInputArchive::_Read(const StringView& name, T& value) {
    const bool unnamed = name.empty() || name[0] == 0;
    const rapidjson::Value& scope = state_->reader.Scope();
    // An unnamed datum is the scope itself, and one that isn't there is missed with a warning.
    if (const rapidjson::Value* const node = unnamed ? &scope : state_->reader.Find(name))
        RapidjsonHelper::Deserialize(*node, nullptr, value);
    else
        RapidjsonHelper::Deserialize(scope, TextOf(name).c_str(), value);
    return *this;
}

#define KIV_READ_SCALAR(Type, Name)                                                   \
    Archive& JsonInputArchive::Serialize##Name(const StringView& name, Type& value) { \
        return _Read(name, value);                                                    \
    }
KIV_FOR_EACH_ARCHIVE_SCALAR(KIV_READ_SCALAR)
#undef KIV_READ_SCALAR

bool JsonInputArchive::_SerializeTypeName(const std::string& expected, std::string& found) {
    return internal::TextOf(state_->reader.Find("type")) == expected ||
           Archive::_SerializeTypeName(expected, found);
}

Archive& JsonInputArchive::SerializeBoolArray(const StringView& name, std::vector<bool>& value) {
    return _Read(name, value);
}

#define KIV_READ_LISTS(Type, Name)                                                \
    Archive& JsonInputArchive::Serialize##Name##Array(const StringView& name,     \
                                                      Array<Type>& value) {       \
        return _Read(name, value);                                                \
    }                                                                             \
    Archive& JsonInputArchive::Serialize##Name##Array(const StringView& name,     \
                                                      std::vector<Type>& value) { \
        return _Read(name, value);                                                \
    }
KIV_FOR_EACH_ARCHIVE_ELEMENT(KIV_READ_LISTS)
#undef KIV_READ_LISTS

// Weak references aren't restored: nothing would keep alive what only they refer to.
Archive& JsonInputArchive::SerializeObject(const StringView&, WeakPtr<Object>&) {
    return *this;
}

Archive& JsonInputArchive::SerializeObject(const StringView& name, RefPtr<Object>& value) {
    const rapidjson::Value* const node = state_->reader.Find(name);
    if (!node)
        baseLogger2.log(LogLevel::Warn, kObjectTag, "Object can't be created. Name: %s",
                        TextOf(name).c_str());
    else if (node->IsObject())
        _ResolveReference(*node, value);
    return *this;
}

Archive& JsonInputArchive::SerializeObjectArray(const StringView&, Array<WeakPtr<Object>>&) {
    return *this;
}

Archive& JsonInputArchive::SerializeObjectArray(const StringView& name,
                                                Array<RefPtr<Object>>& value) {
    const rapidjson::Value* const nodes = state_->reader.Find(name);
    if (!nodes || !nodes->IsArray())
        return *this;
    for (const rapidjson::Value& node : nodes->GetArray()) {
        RefPtr<Object> object;
        if (node.IsNull() || _ResolveReference(node, object))
            value.emplace_back(object);
    }
    return *this;
}

// The object that a reference node stands for, which may be null. False, with an error, if there is
// no telling; a node without an id that can be one is reported with the id 0.
bool JsonInputArchive::_ResolveReference(const rapidjson::Value& node, RefPtr<Object>& out) {
    uint64 id = 0;
    if (internal::GetInstanceId(node, id)) {
        const internal::MappedObject* mapped = state_->reader.FindObject(id);
        if (!mapped || !mapped->created) {
            CreateObjectByID(id);
            mapped = state_->reader.FindObject(id);
        }
        if (mapped && mapped->created) {
            out = mapped->object;
            state_->read_objects.HandOut(mapped->object);
            return true;
        }
    }
    baseLogger2.log(
        LogLevel::Error, kObjectTag, "Object can't be created. ID: %" PRIu64 ", TypeName: %s", id,
        std::string(internal::TextOf(internal::FindMember(node, "KIV_TYPE_NAME"))).c_str());
    return false;
}

bool JsonInputArchive::BeginObject(const StringView& name) {
    internal::RequireRoomToNest();
    if (const rapidjson::Value* const member = state_->reader.Find(name)) {
        state_->reader.Enter(*member);
        return true;
    }
    baseLogger2.log(LogLevel::Warn, kTag, "Object '%s' not found in the current context.",
                    TextOf(name).c_str());
    return false;
}

void JsonInputArchive::EndObject(const StringView&) {
    state_->reader.Leave();
}

bool JsonInputArchive::BeginArray(const StringView& name, unsigned int& size) {
    internal::RequireRoomToNest();
    const rapidjson::Value* const member = state_->reader.Find(name);
    // A member of another kind is as good as none.
    if (member && member->IsArray()) {
        state_->reader.Enter(*member);
        size = member->Size();
        return true;
    }
    baseLogger2.log(LogLevel::Warn, kTag, "Array '%s' not found in the current context.",
                    TextOf(name).c_str());
    return false;
}

void JsonInputArchive::EndArray(const StringView&) {
    state_->reader.Leave();
}

bool JsonInputArchive::GetArrayElement(unsigned int index) {
    return state_->reader.EnterElement(index);
}

void JsonInputArchive::ReleaseArrayElement() {
    state_->reader.Leave();
}

}  // namespace kiv
