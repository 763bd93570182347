#include "archive/jsonReader.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "archive/jsonParser.h"
#include "archive/nesting.h"
#include "kiv/base/check.h"
#include "kiv/base/logging.h"

namespace kiv::internal {
namespace {

template <class T>
T WordAt(std::string_view text, std::size_t at) {
    T word;
    std::memcpy(&word, text.data() + at, sizeof(word));
    return word;
}

// Most names are too short for a call of memcmp to pay, and most that are compared differ.
bool SameName(std::string_view a, std::string_view b) {
    if (a.size() != b.size())
        return false;
    if (a.size() >= 16)
        return a == b;
    if (a.size() >= 8)
        return WordAt<uint64>(a, 0) == WordAt<uint64>(b, 0) &&
               WordAt<uint64>(a, a.size() - 8) == WordAt<uint64>(b, a.size() - 8);
    if (a.size() >= 4)
        return WordAt<uint32>(a, 0) == WordAt<uint32>(b, 0) &&
               WordAt<uint32>(a, a.size() - 4) == WordAt<uint32>(b, a.size() - 4);
    return std::equal(a.begin(), a.end(), b.begin());
}

// std::stoull in base 10, which the keys of the map go through, short of the copy for plain digits.
uint64 ParseId(std::string_view key) {
    uint64 id = 0;
    const char* const end = key.data() + key.size();
    const std::from_chars_result result = std::from_chars(key.data(), end, id);
    if (result.ec == std::errc() && result.ptr == end)
        return id;
    return std::stoull(std::string(key), nullptr, 10);
}

}  // namespace

const JsonNode* FindMember(const JsonNode& node, std::string_view name) {
    if (!node.IsObject())
        return nullptr;
    for (const auto& member : node.GetObject()) {
        if (SameName({member.name.GetString(), member.name.GetStringLength()}, name))
            return &member.value;
    }
    return nullptr;
}

std::string_view TextOf(const JsonNode* node) {
    if (!node || !node->IsString())
        return {};
    return {node->GetString(), node->GetStringLength()};
}

bool GetInstanceId(const JsonNode& node, uint64& id) {
    const JsonNode* const member = FindMember(node, "INSTANCE_ID");
    if (!member || !member->IsUint64())
        return false;
    id = member->GetUint64();
    return true;
}

JsonNode CopyNode(const JsonNode& node, rapidjson::Document::AllocatorType& allocator) {
    RequireRoomToNest();
    // Texts by hand: rapidjson's own copy shares those that lie outside the tree.
    if (node.IsString())
        return JsonNode(node.GetString(), node.GetStringLength(), allocator);
    if (node.IsObject()) {
        JsonNode copy(rapidjson::kObjectType);
        for (const auto& member : node.GetObject())
            copy.AddMember(CopyNode(member.name, allocator), CopyNode(member.value, allocator),
                           allocator);
        return copy;
    }
    if (node.IsArray()) {
        JsonNode copy(rapidjson::kArrayType);
        copy.Reserve(node.Size(), allocator);
        for (const JsonNode& element : node.GetArray())
            copy.PushBack(CopyNode(element, allocator), allocator);
        return copy;
    }
    return JsonNode(node, allocator);
}

JsonReader::JsonReader() {
    Enter(empty_object_);
}

void JsonReader::Load(std::string_view text) {
    auto source = std::make_unique<Source>();
    source->text = std::make_unique_for_overwrite<char[]>(text.size() + kJsonPadding);
    std::memset(source->text.get() + text.copy(source->text.get(), text.size()), 0, kJsonPadding);

    const int code = ParseJson(source->text.get(), text.size(), source->document);
    if (code != rapidjson::kParseErrorNone) {
        baseLogger2.log(LogLevel::Error, "JsonInputArchive", "Json parse error: %d, string: %s",
                        code, std::string(text).c_str());
        throw std::runtime_error("Json parse error");
    }
    sources_.push_back(std::move(source));
    source_size_ += text.size();
    _Extract(sources_.back()->document, "JSON_ARCHIVE");
}

void JsonReader::Load(const rapidjson::Document& document, const std::string& key) {
    auto source = std::make_unique<Source>();
    auto& allocator = source->document.GetAllocator();
    static_cast<JsonNode&>(source->document) = CopyNode(document, allocator);
    sources_.push_back(std::move(source));
    source_size_ += allocator.Size();
    _Extract(sources_.back()->document, key);
}

void JsonReader::_Extract(const JsonNode& root, std::string_view key) {
    const JsonNode* const archive = FindMember(root, key);
    if (!archive)
        return;
    const JsonNode* const scope = FindMember(*archive, "KIV_ARCHIVE_OBJECT");
    if (scope && scope->IsObject()) {
        scopes_.clear();
        floor_ = 1;
        Enter(*scope);
    }
    const JsonNode* const map = FindMember(*archive, "KIV_ARCHIVE_OBJECT_MAP");
    if (!map || !map->IsObject())
        return;
    objects_.ForEach([](uint64, MappedObject& object) { object.entry = nullptr; });
    objects_.Reserve(map->MemberCount());
    for (const auto& entry : map->GetObject())
        objects_.Insert(ParseId(TextOf(&entry.name))).entry = &entry.value;
}

const JsonNode* JsonReader::Find(StringView name) const {
    const std::string_view whole = name;
    if (const JsonNode* const member = FindMember(Scope(), whole))
        return member;
    // A name ends at its first zero byte, but hardly any has one.
    const std::string_view start = UpToZero(name);
    return start.size() == whole.size() ? nullptr : FindMember(Scope(), start);
}

bool JsonReader::EnterElement(unsigned int index) {
    OpenScope& array = scopes_.back();
    if (!array.node->IsArray() || index >= array.node->Size()) {
        Enter(null_);
        return false;
    }
    if (index < array.entered || (array.others && array.others->contains(index))) {
        Enter(null_);
        return true;
    }
    if (index == array.entered) {
        ++array.entered;
    } else {
        if (!array.others)
            array.others = std::make_unique<std::set<unsigned int>>();
        array.others->insert(index);
    }
    Enter((*array.node)[index]);
    return true;
}

void JsonReader::Leave() {
    const bool fits = scopes_.size() > floor_;
    KIV_CHECK_EXPLAINED(fits, "an end without a beginning");
    if (fits)
        scopes_.pop_back();
}

std::size_t JsonReader::EnterContents(const JsonNode& entry) {
    Enter(entry);
    return std::exchange(floor_, scopes_.size());
}

void JsonReader::LeaveContents(std::size_t outer) {
    // A document that was loaded meanwhile has put its one scope in place of all others.
    const std::size_t left = std::max<std::size_t>(floor_ - 1, 1);
    while (scopes_.size() > left)
        scopes_.pop_back();
    floor_ = std::min(outer, left);
}

}  // namespace kiv::internal
