#include "archive/jsonReader.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <stdexcept>
#include <utility>

#include <rapidjson/reader.h>

#include "archive/nesting.h"
#include "kiv/base/check.h"
#include "kiv/base/logging.h"

namespace kiv::internal {
namespace {

// Iterative, since the nesting of foreign text must not become that of our stack. Numbers arrive as
// text: rapidjson's own conversions either miss the nearest double or, at full precision, look up
// powers of ten outside their table when exponents are extreme.
constexpr unsigned kParseFlags = rapidjson::kParseInsituFlag | rapidjson::kParseIterativeFlag |
                                 rapidjson::kParseNanAndInfFlag |
                                 rapidjson::kParseNumbersAsStringsFlag;

bool IsWholeNumber(std::string_view number) {
    return std::all_of(number.begin(), number.end(),
                       [](char c) { return c == '-' || (c >= '0' && c <= '9'); });
}

template <class T>
bool Convert(std::string_view number, T& out) {
    return std::from_chars(number.data(), number.data() + number.size(), out).ec == std::errc();
}

// Whether a number beyond the range of `double` is so because it is large: the power of ten of its
// first digit that isn't 0.
bool IsLarge(std::string_view number) {
    const std::size_t end = std::min(number.find_first_of("eE"), number.size());
    int64 power = 0;
    bool inFraction = false;
    bool significant = false;
    for (const char c : number.substr(0, end)) {
        significant = significant || (c >= '1' && c <= '9');
        if (c == '.')
            inFraction = true;
        else if (significant && !inFraction)
            ++power;
        else if (!significant && inFraction)
            --power;
    }
    std::string_view exponent = number.substr(std::min(end + 1, number.size()));
    if (exponent.starts_with('+'))
        exponent.remove_prefix(1);
    int shift = 0;
    if (!exponent.empty() && !Convert(exponent, shift))
        return exponent[0] != '-';
    return power + shift > 0;
}

// Builds the tree of a document from what the parser reports.
class TreeBuilder {
public:
    explicit TreeBuilder(rapidjson::Document& document) : document_(document) {}

    bool NumberIsTooBig() const { return number_is_too_big_; }

    bool Null() { return document_.Null(); }
    bool Bool(bool value) { return document_.Bool(value); }
    bool RawNumber(const char* begin, rapidjson::SizeType size, bool) {
        return _Number(std::string_view(begin, size));
    }
    bool String(const char* text, rapidjson::SizeType size, bool copy) {
        return document_.String(text, size, copy);
    }
    bool StartObject() { return document_.StartObject(); }
    bool Key(const char* text, rapidjson::SizeType size, bool copy) {
        return document_.Key(text, size, copy);
    }
    bool EndObject(rapidjson::SizeType count) { return document_.EndObject(count); }
    bool StartArray() { return document_.StartArray(); }
    bool EndArray(rapidjson::SizeType count) { return document_.EndArray(count); }

    // With kParseNumbersAsStringsFlag the parser names these and never calls them.
    bool Int(int value) { return document_.Int(value); }
    bool Uint(unsigned value) { return document_.Uint(value); }
    bool Int64(int64 value) { return document_.Int64(value); }
    bool Uint64(uint64 value) { return document_.Uint64(value); }
    bool Double(double value) { return document_.Double(value); }

private:
    // A whole number is the narrowest integer that holds it, and a double beyond 64 bits.
    bool _Number(std::string_view number) {
        const bool negative = number[0] == '-';
        if (IsWholeNumber(number)) {
            int64 below = 0;
            uint64 above = 0;
            if (negative && Convert(number, below))
                return document_.Int64(below);
            if (!negative && Convert(number, above))
                return document_.Uint64(above);
        }
        const char first = number[negative ? 1 : 0];
        if (first == 'N')
            return document_.Double(std::numeric_limits<double>::quiet_NaN());
        double value = 0;
        if (first == 'I')
            value = std::numeric_limits<double>::infinity();
        else if (Convert(number, value))
            return document_.Double(value);
        else if (IsLarge(number)) {
            number_is_too_big_ = true;
            return false;
        }
        return document_.Double(negative ? -value : value);
    }

    rapidjson::Document& document_;
    bool number_is_too_big_ = false;
};

// std::stoull in base 10, which the keys of the map go through, short of the copy for plain digits.
uint64 ParseId(std::string_view key) {
    uint64 id = 0;
    const bool plain = !key.empty() && IsWholeNumber(key) && key[0] != '-';
    if (plain && Convert(key, id))
        return id;
    return std::stoull(std::string(key), nullptr, 10);
}

}  // namespace

const JsonNode* FindMember(const JsonNode& node, std::string_view name) {
    if (!node.IsObject())
        return nullptr;
    for (const auto& member : node.GetObject())
        if (TextOf(&member.name) == name)
            return &member.value;
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
    source->text = std::make_unique_for_overwrite<char[]>(text.size() + 1);
    source->text[text.copy(source->text.get(), text.size())] = 0;

    TreeBuilder builder(source->document);
    rapidjson::ParseResult result;
    auto parse = [&](rapidjson::Document&) {
        rapidjson::InsituStringStream stream(source->text.get());
        result = rapidjson::Reader().Parse<kParseFlags>(stream, builder);
        return !result.IsError();
    };
    source->document.Populate(parse);
    if (result.IsError()) {
        const int code =
            builder.NumberIsTooBig() ? rapidjson::kParseErrorNumberTooBig : result.Code();
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
    objects_.clear();
    objects_.reserve(map->MemberCount());
    for (const auto& entry : map->GetObject())
        objects_[ParseId(TextOf(&entry.name))] = &entry.value;
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

const JsonNode* JsonReader::FindObject(uint64 id) const {
    const auto found = objects_.find(id);
    return found == objects_.end() ? nullptr : found->second;
}

}  // namespace kiv::internal
