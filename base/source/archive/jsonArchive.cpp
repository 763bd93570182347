#include "kiv/base/jsonArchive.h"

#include <cinttypes>
#include <string>
#include <utility>

#include "archive/jsonArchiveState.h"
#include "archive/jsonDisplay.h"
#include "archive/nesting.h"
#include "kiv/base/logging.h"
#include "kiv/base/type.h"

namespace kiv {

JsonArchive::JsonArchive(const std::unordered_map<std::string, Value>& given)
    : Archive(given), state_(std::make_unique<State>(GetOptions())) {}

JsonArchive::~JsonArchive() = default;

std::string JsonArchive::GetDisplayJson(const std::string& key, const std::string& subKey) {
    if (IsRead())
        return internal::DisplayJson(state_->reader, key, subKey);
    std::string text;
    state_->writer.WriteDocument(text);
    internal::JsonReader written;
    written.Load(text);
    return internal::DisplayJson(written, key, subKey);
}

void JsonArchive::AddObjectToMap(const RefPtr<Object>& reference) {
    if (!reference)
        return;
    Object& object = *reference;
    const uint64 id = internal::IdOf(&object);
    const RefPtr<Object>* const written = state_->written_objects.Find(id);
    if (written && *written)
        return;
    internal::RequireRoomToNest();
    internal::JsonWriter& writer = state_->writer;
    writer.BeginContents(id);
    try {
        // Marked before its contents are written, so that a cycle ends here.
        state_->written_objects.Insert(id) = reference;
        object << *this;
        writer.EndContents(object.GetType().GetName());
    } catch (...) {
        writer.DropContents();
        if (RefPtr<Object>* const mark = state_->written_objects.Find(id))
            mark->reset();
        throw;
    }
}

rapidjson::Value JsonArchive::CreateObjRefValue(Object* object) {
    if (!object)
        return rapidjson::Value();
    auto& allocator = state_->allocator;
    const StringView typeName = object->GetType().GetName();
    rapidjson::Value node(rapidjson::kObjectType);
    node.AddMember("INSTANCE_ID", internal::IdOf(object), allocator);
    node.AddMember("KIV_TYPE_NAME",
                   rapidjson::Value(typeName.data(),
                                    static_cast<rapidjson::SizeType>(typeName.size()), allocator),
                   allocator);
    node.AddMember("IS_REFERENCE", true, allocator);
    return node;
}

void JsonArchive::CreateObjectByID(uint64 id) {
    constexpr char kTag[] = "JsonArchive::CreateObjectByID";
    internal::MappedObject* const mapped = state_->reader.FindObject(id);
    if (mapped && mapped->created)
        return;
    if (!mapped || !mapped->entry) {
        baseLogger2.log(LogLevel::Error, "", "Object not found in the map. ID: %" PRIu64, id);
        return;
    }
    internal::RequireRoomToNest();
    const std::string typeName(
        internal::TextOf(internal::FindMember(*mapped->entry, "KIV_TYPE_NAME")));
    const Type type = Type::Find(typeName);
    if (type == Type()) {
        baseLogger2.log(LogLevel::Error, kTag, "Can't find object type: %s. Please regester it.",
                        typeName.c_str());
        mapped->created = true;
        return;
    }
    // Entered before it is filled, so that a reference back to it from inside finds it.
    RefPtr<Object> object = type._CreateObject();
    mapped->object = object.get();
    mapped->created = true;
    if (!object) {
        baseLogger2.log(LogLevel::Error, kTag, "Object type %s can't be created.",
                        typeName.c_str());
        return;
    }
    _FillObject(id, std::move(object), *mapped->entry);
}

void JsonArchive::_FillObject(uint64 id, RefPtr<Object> object, const rapidjson::Value& entry) {
    internal::JsonReader& reader = state_->reader;
    Object& filled = *object;
    const auto fill = [&] {
        const std::size_t outer = reader.EnterContents(entry);
        try {
            filled << *this;
        } catch (...) {
            reader.LeaveContents(outer);
            throw;
        }
        reader.LeaveContents(outer);
    };
    const auto forget = [&reader](uint64 dropped, Object*) {
        internal::MappedObject& mapped = *reader.FindObject(dropped);
        mapped.object = nullptr;
        mapped.created = false;
    };
    state_->read_objects.Read(id, std::move(object), fill, forget);
}

void JsonArchive::AppendToDocument(rapidjson::Document& document, const std::string& key) const {
    internal::JsonReader written;
    internal::JsonReader* source = &state_->reader;
    if (!IsRead()) {
        std::string text;
        state_->writer.WriteDocument(text);
        written.Load(text);
        source = &written;
    }
    auto& allocator = document.GetAllocator();
    rapidjson::Value map(rapidjson::kObjectType);
    source->Objects().ForEach([&](uint64 id, const internal::MappedObject& object) {
        if (object.entry)
            map.AddMember(rapidjson::Value(std::to_string(id).c_str(), allocator),
                          internal::CopyNode(*object.entry, allocator), allocator);
    });
    rapidjson::Value archive(rapidjson::kObjectType);
    archive.AddMember("KIV_ARCHIVE_OBJECT", internal::CopyNode(source->Scope(), allocator),
                      allocator);
    archive.AddMember("KIV_ARCHIVE_OBJECT_MAP", map, allocator);
    if (!document.IsObject())
        document.SetObject();
    document.AddMember(rapidjson::Value(key.c_str(), allocator), archive, allocator);
}

void JsonArchive::ExtractFromDocument(const rapidjson::Document& document, const std::string& key) {
    state_->reader.Load(document, key);
}

}  // namespace kiv
