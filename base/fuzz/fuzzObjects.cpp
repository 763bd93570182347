#include "fuzzObjects.h"

#include <cstdlib>
#include <vector>

#include "kiv/base/registration.h"

namespace kiv::fuzz {

void Require(bool condition) {
    if (!condition)
        std::abort();
}

std::set<Linked*> Linked::living;

void Linked::CutAll() {
    std::vector<RefPtr<Linked>> held(living.begin(), living.end());
    for (const RefPtr<Linked>& object : held) {
        object->next = nullptr;
        object->others.clear();
    }
}

Archive& Scripted::operator<<(Archive& archive) {
    Array<bool> flags;
    Array<Box3f> boxes;
    std::vector<bool> bits;
    double real = 0;
    archive.Serialize<bool>("flags", flags).Serialize<Box3f>("boxes", boxes);
    archive.SerializeBoolArray("bits", bits).SerializeDouble("real", real);
    archive.Serialize<Linked>("next", next).SerializeObjectArray("others", others);
    Value value;
    return archive.Serialize<Value>("value", value);
}

[[maybe_unused]] static const bool registered[] = {
    Registration::Enum<Mode>("Mode").Item("Off", Mode::Off).Item("On", Mode::On).Done(),
    Registration::Class<Linked>("L")
        .Property("next", &Linked::next)
        .Property("others", &Linked::others)
        .Creatable(),
    Registration::Class<Reflected>("R")
        .Property("flag", &Reflected::flag)
        .Property("small", &Reflected::small)
        .Property("large", &Reflected::large)
        .Property("real", &Reflected::real)
        .Property("text", &Reflected::text)
        .Property("mode", &Reflected::mode)
        .Property("bytes", &Reflected::bytes)
        .Property("texts", &Reflected::texts)
        .Property("poses", &Reflected::poses)
        .Property("color", &Reflected::color)
        .Creatable(),
    Registration::Class<Scripted>("S").Creatable(),
};

}  // namespace kiv::fuzz
