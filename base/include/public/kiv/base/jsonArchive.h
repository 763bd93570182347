// The readable form of an archive: a JSON document in which every datum is a member under its name.
//
//     JsonOutputArchive archive({});
//     archive.Serialize<Object>("Object", scene);
//     archive.ToString(text);
//
// Members are found by name, so their order is free and a missing one costs a warning. Each object
// stands once in a flat map under its id, and wherever it is referred to a small reference node
// stands: that is how shared and circular references stay finite. The document is drawn in
// docs/formats/json-archive.md. It is meant for configuration, display and diagnosis.
//
// Objects are nested in one another as deeply as the stack allows; beyond that both directions
// throw `std::runtime_error`.
#ifndef KIV_BASE_JSON_ARCHIVE_H_
#define KIV_BASE_JSON_ARCHIVE_H_

#include <memory>
#include <string>
#include <unordered_map>

#include <rapidjson/fwd.h>

#include "kiv/base/archive.h"
#include "kiv/base/export.h"
#include "kiv/base/integers.h"

namespace kiv {

/// What both directions share: a stack of scopes, of which the last is the current one, and the map
/// of objects.
class KIV_BASE_API JsonArchive : public Archive {
public:
    ~JsonArchive() override;

    /// The current scope for people to read, with each reference replaced by what it refers to and
    /// cycles cut by a `{"__circular_reference__":true,"INSTANCE_ID":id}`. With a `key` that
    /// exists, only that member; with a `subKey` that exists in it, only that.
    ///
    /// A shared object is printed wherever it is met, until the text is both longer than a megabyte
    /// and many times the document: from there on one that was printed before is left as its
    /// reference node, since the text would double with each level of sharing.
    std::string GetDisplayJson(const std::string& key, const std::string& subKey);

protected:
    explicit JsonArchive(const std::unordered_map<std::string, Value>& options);

    /// For an archive that writes: puts the object's contents into the map, unless they are there
    /// or under way. The archive keeps the object alive, since its address is its id.
    void AddObjectToMap(const RefPtr<Object>& object);
    /// A reference node, or null for null, in memory of the archive.
    rapidjson::Value CreateObjRefValue(Object* object);
    /// For an archive that reads: builds the object of this id, unless that was tried before.
    void CreateObjectByID(uint64 id);
    /// Adds the current scope and the map to the object at the root of `document`, under `key`.
    void AppendToDocument(rapidjson::Document& document, const std::string& key) const;
    /// For an archive that reads: copies scope and map from what stands under `key`.
    void ExtractFromDocument(const rapidjson::Document& document, const std::string& key);

private:
    friend class JsonInputArchive;
    friend class JsonOutputArchive;
    struct State;

    void _FillObject(uint64 id, RefPtr<Object> object, const rapidjson::Value& entry);

    std::unique_ptr<State> state_;
};

class KIV_BASE_API JsonInputArchive : public JsonArchive {
public:
    explicit JsonInputArchive(const std::unordered_map<std::string, Value>& options);
    ~JsonInputArchive() override;

    /// Loads a document; before that the root scope is empty. JSON that is no archive loads
    /// nothing. Throws `std::runtime_error` for text that isn't JSON, and `std::invalid_argument`
    /// or `std::out_of_range` for a key of the object map that isn't a 64-bit number.
    void FromString(const std::string& text);

    // If a read throws, the objects that were made for it are emptied of their references, or a
    // half-built cycle would keep itself alive for ever. The end of the archive does the same for
    // those that were refused and that nobody came to hold.
    KIV_ARCHIVE_OVERRIDES

private:
    bool _SerializeTypeName(const std::string& expected, std::string& found) override;
    void _NoteLostObjects() override;

    template <class T>
    Archive& _Read(const StringView& name, T& value);
    bool _ResolveReference(const rapidjson::Value& node, RefPtr<Object>& out);
};

class KIV_BASE_API JsonOutputArchive : public JsonArchive {
public:
    explicit JsonOutputArchive(const std::unordered_map<std::string, Value>& options);
    ~JsonOutputArchive() override;

    /// Replaces `out` by the document, with the current scope as its root scope. May be called at
    /// any time, and again.
    void ToString(std::string& out);

    // Where a call doesn't fit the current scope (a named datum outside an object, an element
    // outside an array, an end without a beginning) a failed check is logged and the datum is
    // dropped.
    KIV_ARCHIVE_OVERRIDES

private:
    bool _SerializeTypeName(const std::string& expected, std::string& found) override;
};

}  // namespace kiv

#endif  // KIV_BASE_JSON_ARCHIVE_H_
