// Reads foreign text as a JSON archive, through the front end and by hand. What was read is shown,
// written and read again; nothing may be left of it at the end, and at once after a failure.
#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <vector>

#include "fuzzObjects.h"
#include "kiv/base/jsonArchive.h"
#include "kiv/base/jsonSerializer.h"
#include "kiv/base/logging.h"

namespace kiv::fuzz {

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
