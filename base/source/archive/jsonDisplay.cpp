#include "archive/jsonDisplay.h"

#include <algorithm>
#include <utility>

#include "archive/jsonText.h"
#include "archive/nesting.h"

namespace kiv::internal {
namespace {

// The text may grow to so many times the document, or to a size that anybody can read, before
// shared objects are no longer repeated.
constexpr std::size_t kGrowth = 16;
// An entry has two members that are passed over, and more text than this; a hostile one may repeat
// them.
constexpr std::size_t kTextPerEntry = 16;
constexpr std::size_t kAlwaysFine = 1024 * 1024;

class Printer {
public:
    explicit Printer(JsonReader& reader)
        : reader_(reader), limit_(std::max(kAlwaysFine, kGrowth * reader.SourceSize())) {}

    std::string Take() const { return std::string(text_.From(0)); }

    void PrintScope() {
        _PrintMembers(reader_.Scope(), [this](const JsonNode& value) { Print(value); });
    }

    void Print(const JsonNode& value) {
        RequireRoomToNest();
        if (value.IsObject())
            return _PrintObject(value);
        if (!value.IsArray())
            return _PrintScalar(value);
        text_.Append('[');
        bool first = true;
        for (const JsonNode& element : value.GetArray()) {
            _Separate(first);
            Print(element);
        }
        text_.Append(']');
    }

    // Member `name` of what `Print(object)` would print, if it would print one.
    bool PrintMember(const JsonNode& object, const std::string& name) {
        const JsonNode* const shown = _Resolve(object);
        const JsonNode* const member = FindMember(shown ? *shown : object, name);
        if (!member || (shown && shown != &object && _IsIdentity(name)))
            return false;
        // A reference without an entry is printed as these two alone.
        if (!shown && name != "IS_REFERENCE" && name != "INSTANCE_ID")
            return false;
        uint64 id = 0;
        if (GetInstanceId(object, id))
            known_.Insert(id).on_path = true;
        Print(*member);
        return true;
    }

private:
    static bool _IsIdentity(std::string_view name) {
        return name == "INSTANCE_ID" || name == "KIV_TYPE_NAME";
    }

    // What stands in the place of an object that is printed: the entry of the map for a reference,
    // null for a reference without one, and the object itself otherwise. A reference without an id
    // is damaged, and nothing but an object like others.
    const JsonNode* _Resolve(const JsonNode& object) const {
        uint64 id = 0;
        if (!FindMember(object, "IS_REFERENCE") || !GetInstanceId(object, id))
            return &object;
        const MappedObject* const mapped = reader_.FindObject(id);
        return mapped && mapped->entry && mapped->entry->IsObject() ? mapped->entry : nullptr;
    }

    void _PrintObject(const JsonNode& object) {
        uint64 id = 0;
        const bool hasId = GetInstanceId(object, id);
        if (hasId && std::exchange(known_.Insert(id).on_path, true))
            return _PrintMark("__circular_reference__", id);
        const JsonNode* shown = _Resolve(object);
        if (!shown) {
            _PrintMark("IS_REFERENCE", id);
        } else {
            // Past the limit each object is expanded once more at most, so the rest is bounded too.
            if (shown != &object && std::exchange(known_.Insert(id).expanded, true) &&
                (text_.size() > limit_ || passed_over_ > limit_ / kTextPerEntry))
                shown = &object;
            const bool isEntry = shown != &object;
            _PrintMembers(
                *shown, [this](const JsonNode& value) { Print(value); }, isEntry);
        }
        if (hasId)
            known_.Insert(id).on_path = false;
    }

    template <class PrintValue>
    void _PrintMembers(const JsonNode& object, PrintValue printValue, bool isEntry = false) {
        text_.Append('{');
        bool first = true;
        if (object.IsObject())
            for (const auto& member : object.GetObject()) {
                const std::string_view name = TextOf(&member.name);
                if (isEntry && _IsIdentity(name)) {
                    ++passed_over_;
                    continue;
                }
                _Separate(first);
                text_.AppendValue(name);
                text_.Append(':');
                printValue(member.value);
            }
        text_.Append('}');
    }

    void _PrintMark(std::string_view mark, uint64 id) {
        text_.Append('{');
        text_.AppendValue(mark);
        text_.Append(":true,\"INSTANCE_ID\":");
        text_.AppendValue(id);
        text_.Append('}');
    }

    void _PrintScalar(const JsonNode& value) {
        if (value.IsString())
            text_.AppendValue(TextOf(&value));
        else if (value.IsBool())
            text_.AppendValue(value.GetBool());
        else if (value.IsUint64())
            text_.AppendValue(value.GetUint64());
        else if (value.IsInt64())
            text_.AppendValue(value.GetInt64());
        else if (value.IsDouble())
            text_.AppendValue(value.GetDouble());
        else
            text_.Append("null");
    }

    void _Separate(bool& first) {
        if (!first)
            text_.Append(',');
        first = false;
    }

    JsonReader& reader_;
    const std::size_t limit_;
    JsonText text_;
    std::size_t passed_over_ = 0;  // members that cost time and leave no text
    struct Known {
        bool on_path = false;   // from the root to what is being printed
        bool expanded = false;  // was printed in place of a reference
    };
    IdMap<Known> known_;
};

}  // namespace

std::string DisplayJson(JsonReader& reader, const std::string& key, const std::string& subKey) {
    Printer printer(reader);
    const JsonNode* const chosen = key.empty() ? nullptr : FindMember(reader.Scope(), key);
    if (!chosen)
        printer.PrintScope();
    else if (subKey.empty() || !printer.PrintMember(*chosen, subKey))
        printer.Print(*chosen);
    return printer.Take();
}

}  // namespace kiv::internal
