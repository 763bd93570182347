// The reading half of a JSON archive: the parsed documents, the open scopes in them, and the map of
// objects.
//
// A scope that is entered has the contents of a copy of its node, but is a pointer to it: nothing
// is copied, and no reader is slower for what lies below the scope.
#ifndef KIV_BASE_ARCHIVE_JSON_READER_H_
#define KIV_BASE_ARCHIVE_JSON_READER_H_

#include <cstddef>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "archive/idMap.h"
#include "archive/jsonNode.h"
#include "archive/jsonText.h"
#include "kiv/base/integers.h"
#include "kiv/base/object.h"
#include "kiv/base/stringView.h"

namespace kiv::internal {

/// The member of a node that is an object, or null.
const JsonNode* FindMember(const JsonNode& node, std::string_view name);
/// The text of a node that is a string, or an empty one.
std::string_view TextOf(const JsonNode* node);
/// The id in member "INSTANCE_ID" of an object. False if there is none that fits 64 bits unsigned.
bool GetInstanceId(const JsonNode& node, uint64& id);
/// A deep copy. Throws `std::runtime_error` if it is nested too deeply for the stack.
JsonNode CopyNode(const JsonNode& node, rapidjson::Document::AllocatorType& allocator);

/// An object of the map.
struct MappedObject {
    const JsonNode* entry = nullptr;  // null if it stands in no map, or no longer
    bool created = false;             // or found impossible to create, if there is no object
    Object* object = nullptr;         // kept alive by the archive
};

class JsonReader {
public:
    /// The root scope is an empty object.
    JsonReader();
    JsonReader(const JsonReader&) = delete;
    JsonReader& operator=(const JsonReader&) = delete;

    /// Parses a document and loads what stands in it under "JSON_ARCHIVE".
    void Load(std::string_view text);
    /// The same with a copy of a tree that is somebody else's.
    void Load(const rapidjson::Document& document, const std::string& key);

    /// The size of what was loaded, in bytes.
    std::size_t SourceSize() const { return source_size_; }

    const JsonNode& Scope() const { return *scopes_.back().node; }
    /// A member of the current scope, or null.
    const JsonNode* Find(StringView name) const;
    /// Enters a node below the current scope.
    void Enter(const JsonNode& node) { scopes_.push_back({&node, 0, nullptr}); }
    /// Enters an element of the array that is the current scope. It is null if there is none, or if
    /// it was entered before, since an element is moved out of its array. False if there is none.
    bool EnterElement(unsigned int index);
    void Leave();

    /// Enters the contents of an object, which no `Leave` leaves. The result is for
    /// `LeaveContents`.
    std::size_t EnterContents(const JsonNode& entry);
    /// Leaves them, with all that was entered in them.
    void LeaveContents(std::size_t outer);

    /// The object of that id, or null. It stays where it is until the next document is loaded.
    MappedObject* FindObject(uint64 id) { return objects_.Find(id); }
    IdMap<MappedObject>& Objects() { return objects_; }

private:
    // A parsed document, and the text that its strings point into.
    struct Source {
        std::unique_ptr<char[]> text;
        rapidjson::Document document;
    };
    struct OpenScope {
        const JsonNode* node;
        unsigned int entered;  // so many elements from the first one on were entered,
        std::unique_ptr<std::set<unsigned int>> others;  // and these besides
    };

    void _Extract(const JsonNode& root, std::string_view key);

    std::vector<std::unique_ptr<Source>> sources_;  // scopes may stand in any of them
    std::size_t source_size_ = 0;
    JsonNode empty_object_{rapidjson::kObjectType};
    JsonNode null_;
    std::vector<OpenScope> scopes_;
    std::size_t floor_ = 1;  // so many of them no Leave leaves
    IdMap<MappedObject> objects_;
};

}  // namespace kiv::internal

#endif  // KIV_BASE_ARCHIVE_JSON_READER_H_
