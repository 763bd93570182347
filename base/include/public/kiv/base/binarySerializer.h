// One object as bytes, and back.
//
//     BinarySerializer serializer({});
//     if (!serializer.Serialize(scene)) return;
//     const std::vector<unsigned char>& bytes = serializer.GetBuffer();
//     ...
//     serializer.SetBuffer(bytes);
//     RefPtr<Object> copy = serializer.Deserialize("Scene", &status);
//
// A serializer holds the bytes that it wrote last or was given, and belongs to one thread. For a
// form that people can read, and that survives a change of the classes, take `JsonSerializer`.
#ifndef KIV_BASE_BINARY_SERIALIZER_H_
#define KIV_BASE_BINARY_SERIALIZER_H_

#include <string>
#include <unordered_map>
#include <vector>

#include "kiv/base/export.h"
#include "kiv/base/serializer.h"
#include "kiv/base/value.h"

namespace kiv {

class KIV_BASE_API BinarySerializer : public Serializer {
public:
    /// The options are copied, and given to every archive.
    explicit BinarySerializer(const std::unordered_map<std::string, Value>& options);
    ~BinarySerializer() override;

    Status Serialize(const RefPtr<Object>& object) override;
    /// The registered name of a type has to be given, or it is a failure; the object may still be
    /// of another type, for it has the stored one. Damaged bytes give what can be read of them.
    /// `status` is written in any case.
    RefPtr<Object> Deserialize(const StringView& typeName, Status* status) override;

    const std::vector<unsigned char>& GetBuffer() const { return buffer; }
    void SetBuffer(const std::vector<unsigned char>& bytes) { buffer = bytes; }

private:
    std::vector<unsigned char> buffer;
    std::unordered_map<std::string, Value> options;
};

}  // namespace kiv

#endif  // KIV_BASE_BINARY_SERIALIZER_H_
