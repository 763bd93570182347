// The writing half of a JSON archive: the text of the scopes that are open, and that of the objects
// which are done.
//
// No tree is built. All open scopes stand in one text, each behind the one that it was opened in,
// and are closed where they stand. When an object's contents begin, they are one more scope behind
// what is open, though no part of it; when they end, they move into the text of the map:
//
//     open    {"a":1,"b":{"x":2      the object at hand, with a nested scope
//             {"c":                  the one that it refers to
//     map     "7":{...},"9":{...}
#ifndef KIV_BASE_ARCHIVE_JSON_WRITER_H_
#define KIV_BASE_ARCHIVE_JSON_WRITER_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "archive/idMap.h"
#include "archive/jsonText.h"
#include "kiv/base/integers.h"
#include "kiv/base/object.h"
#include "kiv/base/stringView.h"

namespace kiv::internal {

/// The node that stands where an object is referred to, or null for null.
void AppendReference(JsonText& text, const Object* object);

class JsonWriter {
public:
    /// Opens the root scope, an object.
    JsonWriter();

    /// A member of the current scope or, without a name, the value that takes the place of the
    /// scope.
    template <class T>
    void Scalar(StringView name, T value);
    /// A member of the current scope, also without a name.
    void String(StringView name, std::string_view value);  // up to its first zero byte
    void Reference(StringView name, const Object* object);
    /// The same, with `append(text, element)` for each element.
    template <class Values, class Append>
    void List(StringView name, const Values& values, Append append);

    void BeginObject(StringView name) { _OpenMember(name, Kind::kObject); }
    void BeginArray(StringView name) { _OpenMember(name, Kind::kArray); }
    void BeginElement();
    /// Ends the scope that any of these opened; one that was opened as a member becomes member
    /// `name`.
    void End(StringView name);
    void EndElement();

    /// The contents of an object: a scope of its own, which no `End` closes.
    void BeginContents(uint64 id);
    /// Closes what is open in it, and files it with its id and type.
    void EndContents(std::string_view typeName);
    /// Takes back the last contents that were begun, with all that is open in them.
    void DropContents();

    /// Replaces `out` by the archive document of the current scope and the map. An object whose
    /// contents are under way stands there without any. If there is no memory, `out` stays as it
    /// is.
    void WriteDocument(std::string& out) const;

private:
    enum class Kind : unsigned char { kObject, kArray, kPlain };
    enum class Place : unsigned char {
        kApart,    // the root scope, or an object's contents
        kMember,   // of an object
        kElement,  // of an array
        kNowhere,  // opened where it doesn't fit, and dropped when it ends
    };
    struct Scope {
        std::size_t before = 0;  // where the text is cut to drop the scope, comma and name included
        std::size_t begin = 0;   // of its value
        Kind kind = Kind::kObject;
        Place place = Place::kApart;
        bool empty = true;
    };
    struct Contents {
        uint64 id;
        std::size_t scope;  // of the contents in scopes_
    };

    bool _BeginMember(StringView name);
    void _OpenMember(StringView name, Kind kind);
    void _Open(std::size_t before, Kind kind, Place place);
    void _Close();
    void _Rename(const Scope& scope, StringView name);
    static std::string_view _EndOf(Kind kind);

    JsonText open_;
    JsonText map_;
    std::vector<Scope> scopes_;       // of which the last is the current one
    std::vector<Contents> contents_;  // under way
};

template <class T>
void JsonWriter::Scalar(StringView name, T value) {
    if (!name.empty() && name[0] != 0) {
        if (_BeginMember(name))
            open_.AppendValue(value);
        return;
    }
    Scope& scope = scopes_.back();
    open_.Truncate(scope.begin);
    open_.AppendValue(value);
    scope.kind = Kind::kPlain;
}

template <class Values, class Append>
void JsonWriter::List(StringView name, const Values& values, Append append) {
    if (!_BeginMember(name))
        return;
    open_.Append('[');
    bool first = true;
    for (const auto& value : values) {
        if (!first)
            open_.Append(',');
        first = false;
        append(open_, value);
    }
    open_.Append(']');
}

}  // namespace kiv::internal

#endif  // KIV_BASE_ARCHIVE_JSON_WRITER_H_
