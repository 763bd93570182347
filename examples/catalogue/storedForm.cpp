#include "catalogue/storedForm.h"

#include <string>

#include "kiv/base/binarySerializer.h"
#include "kiv/base/jsonSerializer.h"

namespace catalogue {
namespace {

using Bytes = std::vector<unsigned char>;
using View = kiv::ArrayView<const unsigned char>;

// The serializers differ in what they call their bytes; everything else is `kiv::Serializer`.
Bytes GetBytes(kiv::JsonSerializer& serializer) {
    const std::string text = serializer.GetSerializeString(nullptr);
    return Bytes(text.begin(), text.end());
}
Bytes GetBytes(kiv::BinarySerializer& serializer) {
    return serializer.GetBuffer();
}

void SetBytes(kiv::JsonSerializer& serializer, View bytes) {
    serializer.SetSerializeString(std::string(bytes.begin(), bytes.end()));
}
void SetBytes(kiv::BinarySerializer& serializer, View bytes) {
    serializer.SetBuffer(Bytes(bytes.begin(), bytes.end()));
}

template <class FormSerializer>
kiv::Status Write(const kiv::RefPtr<kiv::Object>& root, Bytes* bytes) {
    FormSerializer serializer({});
    const kiv::Status status = serializer.Serialize(root);
    *bytes = GetBytes(serializer);
    return status;
}

template <class FormSerializer>
kiv::RefPtr<kiv::Object> Read(View bytes, kiv::Status* status) {
    FormSerializer serializer({});
    SetBytes(serializer, bytes);
    return serializer.Deserialize("Folder", status);
}

}  // namespace

const std::array<StoredForm, 2> kStoredForms = {{
    {"JSON", "", Write<kiv::JsonSerializer>, Read<kiv::JsonSerializer>},
    {"binary", ".kivbin", Write<kiv::BinarySerializer>, Read<kiv::BinarySerializer>},
}};

}  // namespace catalogue
