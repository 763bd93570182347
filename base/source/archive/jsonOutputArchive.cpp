#include "archive/jsonArchiveState.h"
#include "archive/jsonWriter.h"
#include "archive/nesting.h"
#include "kiv/base/jsonArchive.h"

namespace kiv {
namespace {

using internal::JsonText;

template <class T>
void AppendElement(JsonText& text, const T& value) {
    text.AppendValue(value);
}
void AppendElement(JsonText& text, const std::string& value) {
    text.AppendUpToZero(value);
}

// Through const access, since writing must not detach a shared array.
template <class List>
void WriteList(internal::JsonWriter& writer, const StringView& name, const List& values) {
    writer.List(name, values,
                [](JsonText& text, const auto& value) { AppendElement(text, value); });
}

}  // namespace

JsonOutputArchive::JsonOutputArchive(const std::unordered_map<std::string, Value>& given)
    : JsonArchive(given) {}

JsonOutputArchive::~JsonOutputArchive() = default;

void JsonOutputArchive::ToString(std::string& out) {
    state_->writer.WriteDocument(out);
}

bool JsonOutputArchive::IsRead() const {
    return false;
}

Archive& JsonOutputArchive::SerializeBool(const StringView& name, bool& value) {
    state_->writer.Scalar(name, value);
    return *this;
}

#define KIV_WRITE_NUMBER(Type, Name)                                                   \
    Archive& JsonOutputArchive::Serialize##Name(const StringView& name, Type& value) { \
        state_->writer.Scalar(name, value);                                            \
        return *this;                                                                  \
    }
KIV_FOR_EACH_ARCHIVE_NUMBER(KIV_WRITE_NUMBER)
#undef KIV_WRITE_NUMBER

Archive& JsonOutputArchive::SerializeString(const StringView& name, std::string& value) {
    state_->writer.String(name, value);
    return *this;
}

bool JsonOutputArchive::_SerializeTypeName(const std::string& expected, std::string&) {
    state_->writer.String("type", expected);
    return true;
}

Archive& JsonOutputArchive::SerializeBoolArray(const StringView& name, std::vector<bool>& value) {
    state_->writer.List(name, value, [](JsonText& text, bool bit) { text.AppendValue(bit); });
    return *this;
}

#define KIV_WRITE_LISTS(Type, Name)                                                \
    Archive& JsonOutputArchive::Serialize##Name##Array(const StringView& name,     \
                                                       Array<Type>& value) {       \
        WriteList(state_->writer, name, value);                                    \
        return *this;                                                              \
    }                                                                              \
    Archive& JsonOutputArchive::Serialize##Name##Array(const StringView& name,     \
                                                       std::vector<Type>& value) { \
        WriteList(state_->writer, name, value);                                    \
        return *this;                                                              \
    }
KIV_FOR_EACH_ARCHIVE_ELEMENT(KIV_WRITE_LISTS)
#undef KIV_WRITE_LISTS

Archive& JsonOutputArchive::SerializeObject(const StringView& name, WeakPtr<Object>& value) {
    state_->writer.Reference(name, value.get());
    return *this;
}

Archive& JsonOutputArchive::SerializeObject(const StringView& name, RefPtr<Object>& value) {
    AddObjectToMap(value);
    state_->writer.Reference(name, value.get());
    return *this;
}

Archive& JsonOutputArchive::SerializeObjectArray(const StringView& name,
                                                 Array<WeakPtr<Object>>& value) {
    const Array<WeakPtr<Object>> objects = value;
    state_->writer.List(name, objects, [](JsonText& text, const WeakPtr<Object>& object) {
        internal::AppendReference(text, object.get());
    });
    return *this;
}

Archive& JsonOutputArchive::SerializeObjectArray(const StringView& name,
                                                 Array<RefPtr<Object>>& value) {
    // A copy, since the contents of an object may change the list that it stands in.
    const Array<RefPtr<Object>> objects = value;
    for (const RefPtr<Object>& object : objects)
        AddObjectToMap(object);
    state_->writer.List(name, objects, [](JsonText& text, const RefPtr<Object>& object) {
        internal::AppendReference(text, object.get());
    });
    return *this;
}

bool JsonOutputArchive::BeginObject(const StringView& name) {
    internal::RequireRoomToNest();
    state_->writer.BeginObject(name);
    return true;
}

void JsonOutputArchive::EndObject(const StringView& name) {
    state_->writer.End(name);
}

bool JsonOutputArchive::BeginArray(const StringView& name, unsigned int&) {
    internal::RequireRoomToNest();
    state_->writer.BeginArray(name);
    return true;
}

void JsonOutputArchive::EndArray(const StringView& name) {
    state_->writer.End(name);
}

bool JsonOutputArchive::GetArrayElement(unsigned int) {
    state_->writer.BeginElement();
    return true;
}

void JsonOutputArchive::ReleaseArrayElement() {
    state_->writer.EndElement();
}

}  // namespace kiv
