// A mesh as bytes and back: both its sides have one material, and still do when it is read.
#include <cstdio>
#include <vector>

#include "kiv/base/annotatingArchive.h"
#include "kiv/base/array.h"
#include "kiv/base/binaryArchive.h"
#include "kiv/base/binarySerializer.h"
#include "kiv/base/object.h"
#include "kiv/base/registration.h"

class Material : public kiv::Object {
    KIV_OBJECT(Material, kiv::Object)
public:
    float gloss = 0.25f;
};

class Mesh : public kiv::Object {
    KIV_OBJECT(Mesh, kiv::Object)
public:
    kiv::Array<float> heights;
    kiv::RefPtr<Material> front;
    kiv::RefPtr<Material> back;
};

[[maybe_unused]] static const bool registered = kiv::Registration::Class<Material>("Material")
                                                    .Property("gloss", &Material::gloss)
                                                    .Creatable() &&
                                                kiv::Registration::Class<Mesh>("Mesh")
                                                    .Property("heights", &Mesh::heights)
                                                    .Property("front", &Mesh::front)
                                                    .Property("back", &Mesh::back)
                                                    .Creatable();

int main() {
    const kiv::RefPtr<Mesh> mesh = kiv::MakeRefCounted<Mesh>();
    mesh->heights = {0.5f, 2, 0.5f};
    mesh->front = mesh->back = kiv::MakeRefCounted<Material>();

    kiv::BinarySerializer serializer({});
    if (!serializer.Serialize(mesh))
        return 1;
    const std::vector<unsigned char>& bytes = serializer.GetBuffer();  // for a file, or a socket
    kiv::Status status;
    const kiv::RefPtr<kiv::Object> read = serializer.Deserialize("Mesh", &status);
    if (!status || !read || !read->IsInstanceOf<Mesh>())
        return 1;
    const Mesh& copy = static_cast<const Mesh&>(*read);
    copy.front->gloss = 0.75f;
    std::printf("%zu bytes, gloss of the back %g\n", bytes.size(), copy.back->gloss);

    // The bytes name nothing; whoever debugs them looks at them through an annotating archive.
    kiv::BinaryInputArchive stream(bytes, {});
    kiv::AnnotatingArchive view(stream, [](const kiv::StringView& line) {
        std::printf("%.*s\n", static_cast<int>(line.size()), line.data());
    });
    kiv::RefPtr<kiv::Object> shown;
    view.Serialize<kiv::Object>("mesh", shown);
}
