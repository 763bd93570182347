// Reads foreign text as a JSON archive, through the front end and by hand. What was read is shown,
// written and read again; nothing may be left of it at the end, and at once after a failure.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <set>
#include <string>
#include <vector>

#include "kiv/base/archiveTypes.h"
#include "kiv/base/array.h"
#include "kiv/base/geometry.h"
#include "kiv/base/jsonArchive.h"
#include "kiv/base/jsonSerializer.h"
#include "kiv/base/logging.h"
#include "kiv/base/object.h"
#include "kiv/base/registration.h"

namespace kiv::fuzz {

// An object whose references the target knows, to take the rings apart that it has read.
class Linked : public Object {
    KIV_OBJECT(Linked, Object)

public:
    Linked() { living.insert(this); }

    static std::set<Linked*> living;

    static void CutAll() {
        std::vector<RefPtr<Linked>> held(living.begin(), living.end());
        for (const RefPtr<Linked>& object : held) {
            object->next = nullptr;
            object->others.clear();
        }
    }

    RefPtr<Linked> next;
    Array<RefPtr<Object>> others;

protected:
    ~Linked() override { living.erase(this); }
};

std::set<Linked*> Linked::living;

enum class Mode { Off, On };

class Reflected : public Linked {
    KIV_OBJECT(Reflected, Linked)

public:
    bool flag = false;
    signed char small = 0;
    uint64 large = 0;
    float real = 0;
    std::string text;
    Mode mode = Mode::Off;
    Array<unsigned char> bytes;
    Array<std::string> texts;
    Array<Posed> poses;
    Color color;
};

// Says itself how it is stored.
class Scripted : public Linked {
    KIV_OBJECT(Scripted, Linked)

public:
    Archive& operator<<(Archive& archive) override {
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
};

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

static void Require(bool condition) {
    if (!condition)
        std::abort();
}

static void ThroughTheFrontEnd(const std::string& text) {
    JsonSerializer serializer({});
    serializer.SetSerializeString(text);
    Status status;
    RefPtr<Object> object = serializer.Deserialize("L", &status);
    Require(status || Linked::living.empty());
    if (!object)
        return;
    // Shallow enough to be read is shallow enough for the rest: the inputs are short.
    serializer.GetDisplayString(object, &status);
    Require(static_cast<bool>(status));
    Require(static_cast<bool>(serializer.Serialize(object)));
    Require(static_cast<bool>(serializer.Deserialize("", &status)));
    Require(static_cast<bool>(status));
}

static void ByHand(const std::string& text) {
    JsonInputArchive archive({{"DeserializeValue", Value(true)}});
    try {
        archive.FromString(text);
        Require(!archive.GetDisplayJson("", "").empty());
        Require(!archive.GetDisplayJson("Object", "next").empty());
        RefPtr<Linked> object;
        Array<RefPtr<Object>> list;
        Array<Planed> planes;
        std::vector<float> reals;
        archive.SerializeObjectArray("list", list).Serialize<Planed>("planes", planes);
        archive.SerializeFloatArray("reals", reals).Serialize<Linked>("Object", object);
    } catch (const std::exception&) {
    }
}

}  // namespace kiv::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kiv::fuzz;
    kiv::baseLogger2.setLogLevel(static_cast<kiv::LogLevel>(5));  // above all levels: nothing
    const std::string text(reinterpret_cast<const char*>(data), size);
    for (const auto& read : {&ThroughTheFrontEnd, &ByHand}) {
        read(text);
        Linked::CutAll();
        Require(Linked::living.empty());
    }
    return 0;
}
