// One object as JSON text, and back.
//
//     JsonSerializer serializer({});
//     if (!serializer.Serialize(scene)) return;
//     std::string text = serializer.GetSerializeString(nullptr);
//     ...
//     serializer.SetSerializeString(text);
//     RefPtr<Object> copy = serializer.Deserialize("", &status);
//
// A serializer holds the text that it wrote last or was given, and belongs to one thread.
#ifndef KIV_BASE_JSON_SERIALIZER_H_
#define KIV_BASE_JSON_SERIALIZER_H_

#include <string>
#include <unordered_map>

#include "kiv/base/export.h"
#include "kiv/base/serializer.h"
#include "kiv/base/value.h"

namespace kiv {

class KIV_BASE_API JsonSerializer : public Serializer {
public:
    /// The options are copied, and given to every archive.
    explicit JsonSerializer(const std::unordered_map<std::string, Value>& options);
    ~JsonSerializer() override;

    Status Serialize(const RefPtr<Object>& object) override;
    /// Reads any known type, whatever `typeName` says. A text without an object in it gives null
    /// and is no failure. `status` is only written on failure.
    RefPtr<Object> Deserialize(const StringView& typeName, Status* status) override;

    void SetSerializeString(const std::string& text) { serializeString = text; }
    /// The text; `status` isn't touched.
    std::string GetSerializeString(Status* status);
    /// Puts JSON that is no archive into a document of the same shape, as member "Serialize" of its
    /// root scope, for readers that look for that. The JSON isn't tested in any way.
    void SetSimpleSerializeString(const std::string& json);

    /// The object's members for people to read, as `JsonArchive::GetDisplayJson` prints them. Empty
    /// on failure, and a null object is one.
    std::string GetDisplayString(const RefPtr<Object>& object, Status* status);
    /// The contents of a `Value`; if `full`, with its type around it.
    std::string GetDisplayString(Value& value, Status* status, bool full);
    /// As `GetDisplayString`, but leaves `out` alone on failure.
    void SerializeToDisplay(const RefPtr<Object>& object, std::string& out, Status* status);

private:
    std::string _DisplayMembers(const RefPtr<Object>& object);

    std::string serializeString;
    std::unordered_map<std::string, Value> options;
};

}  // namespace kiv

#endif  // KIV_BASE_JSON_SERIALIZER_H_
