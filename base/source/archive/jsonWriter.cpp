#include "archive/jsonWriter.h"

#include "kiv/base/check.h"
#include "kiv/base/type.h"

namespace kiv::internal {

void AppendReference(JsonText& text, const Object* object) {
    if (!object)
        return text.Append("null");
    text.Append("{\"INSTANCE_ID\":");
    text.AppendValue(IdOf(object));
    text.Append(",\"KIV_TYPE_NAME\":");
    text.AppendValue(std::string_view(object->GetType().GetName()));
    text.Append(",\"IS_REFERENCE\":true}");
}

JsonWriter::JsonWriter() {
    _Open(0, Kind::kObject, Place::kApart);
}

void JsonWriter::String(StringView name, std::string_view value) {
    if (_BeginMember(name))
        open_.AppendUpToZero(value);
}

void JsonWriter::Reference(StringView name, const Object* object) {
    if (_BeginMember(name))
        AppendReference(open_, object);
}

void JsonWriter::BeginElement() {
    const std::size_t before = open_.size();
    Scope& array = scopes_.back();
    const bool fits = array.kind == Kind::kArray;
    KIV_CHECK_EXPLAINED(fits, "an element needs an open array");
    if (fits && !array.empty)
        open_.Append(',');
    if (fits)
        array.empty = false;
    _Open(before, Kind::kObject, fits ? Place::kElement : Place::kNowhere);
}

void JsonWriter::End(StringView name) {
    const Scope scope = scopes_.back();
    _Close();
    if (scope.place == Place::kMember)
        _Rename(scope, name);
}

void JsonWriter::EndElement() {
    _Close();
}

void JsonWriter::BeginContents(uint64 id) {
    contents_.push_back({id, scopes_.size()});
    _Open(open_.size(), Kind::kObject, Place::kApart);
}

void JsonWriter::EndContents(std::string_view typeName) {
    constexpr std::size_t kFrame = 128;
    constexpr std::size_t kLongestEscape = 6;
    const Contents contents = contents_.back();
    while (scopes_.size() > contents.scope + 1)
        _Close();
    const Scope scope = scopes_.back();
    // From here on nothing fails, so that the contents are either filed or still there to be
    // dropped.
    map_.Reserve(open_.size() - scope.begin + kLongestEscape * typeName.size() + kFrame);
    contents_.pop_back();
    scopes_.pop_back();
    // What makes it an object again has to stand in one.
    const bool fits = scope.kind == Kind::kObject;
    KIV_CHECK_EXPLAINED(fits, "the contents of an object need names");

    if (map_.size() != 0)
        map_.Append(',');
    map_.Append('"');
    map_.AppendValue(contents.id);
    map_.Append("\":");
    if (fits && !scope.empty) {
        map_.Append(open_.From(scope.begin));
        map_.Append(',');
    } else {
        map_.Append('{');
    }
    map_.Append("\"INSTANCE_ID\":");
    map_.AppendValue(contents.id);
    map_.Append(",\"KIV_TYPE_NAME\":");
    map_.AppendValue(typeName);
    map_.Append('}');
    open_.Truncate(scope.begin);
}

void JsonWriter::DropContents() {
    const std::size_t scope = contents_.back().scope;
    contents_.pop_back();
    open_.Truncate(scopes_[scope].begin);
    scopes_.resize(scope);
}

void JsonWriter::WriteDocument(std::string& out) const {
    std::string open;
    for (const Contents& contents : contents_)
        open += (open.empty() && map_.size() == 0 ? "\"" : ",\"") + std::to_string(contents.id) +
                "\":{}";
    const Scope& scope = scopes_.back();
    const std::string_view parts[] = {"{\"JSON_ARCHIVE\":{\"KIV_ARCHIVE_OBJECT\":",
                                      open_.From(scope.begin),
                                      _EndOf(scope.kind),
                                      ",\"KIV_ARCHIVE_OBJECT_MAP\":{",
                                      map_.From(0),
                                      open,
                                      "}}}"};
    std::size_t size = 0;
    for (const std::string_view part : parts)
        size += part.size();
    if (size > out.capacity()) {
        std::string larger;
        larger.reserve(size);
        out.swap(larger);
    }
    out.clear();
    for (const std::string_view part : parts)
        out.append(part);
}

// Comma and name of a member of the current scope. False if that is no object.
bool JsonWriter::_BeginMember(StringView name) {
    Scope& object = scopes_.back();
    const bool fits = object.kind == Kind::kObject;
    KIV_CHECK_EXPLAINED(fits, "a named datum needs a scope that is an object");
    if (!fits)
        return false;
    if (!object.empty)
        open_.Append(',');
    object.empty = false;
    open_.AppendUpToZero(name);
    open_.Append(':');
    return true;
}

void JsonWriter::_OpenMember(StringView name, Kind kind) {
    const std::size_t before = open_.size();
    const bool fits = _BeginMember(name);
    _Open(before, kind, fits ? Place::kMember : Place::kNowhere);
}

void JsonWriter::_Open(std::size_t before, Kind kind, Place place) {
    scopes_.push_back({before, open_.size(), kind, place});
    open_.Append(kind == Kind::kArray ? '[' : '{');
}

void JsonWriter::_Close() {
    const Scope scope = scopes_.back();
    const bool fits = scope.place != Place::kApart;
    KIV_CHECK_EXPLAINED(fits, "an end without a beginning");
    if (!fits)
        return;
    open_.Append(_EndOf(scope.kind));
    scopes_.pop_back();
    if (scope.place == Place::kNowhere)
        open_.Truncate(scope.before);
}

// The name that counts is the one at the end of a scope. The two differ by mistake only, so the
// text is taken apart for it.
void JsonWriter::_Rename(const Scope& scope, StringView name) {
    const std::size_t nameBegin = scope.before + (open_.data()[scope.before] == ',' ? 1 : 0);
    const std::string_view quoted(open_.data() + nameBegin, scope.begin - nameBegin - 1);
    const std::string_view written = quoted.substr(1, quoted.size() - 2);
    if (written == std::string_view(name) || written == UpToZero(name))
        return;
    const std::string value(open_.From(scope.begin));
    open_.Truncate(nameBegin);
    open_.AppendUpToZero(name);
    open_.Append(':');
    open_.Append(value);
}

std::string_view JsonWriter::_EndOf(Kind kind) {
    if (kind == Kind::kPlain)
        return "";
    return kind == Kind::kArray ? "]" : "}";
}

}  // namespace kiv::internal
