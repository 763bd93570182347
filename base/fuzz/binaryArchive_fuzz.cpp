// Reads foreign bytes as a binary archive, through the front end and by hand under an annotating
// view. What was read is written and read again; nothing may be left of it at the end, and at once
// after a failure.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "fuzzObjects.h"
#include "kiv/base/annotatingArchive.h"
#include "kiv/base/binaryArchive.h"
#include "kiv/base/binarySerializer.h"
#include "kiv/base/logging.h"

namespace kiv::fuzz {

using Bytes = std::vector<unsigned char>;

static void ThroughTheFrontEnd(const Bytes& bytes) {
    BinarySerializer serializer({});
    serializer.SetBuffer(bytes);
    Status status;
    RefPtr<Object> object = serializer.Deserialize("L", &status);
    Require(status || Linked::living.empty());
    // Shallow enough to be read is shallow enough for the rest: the inputs are short.
    Require(static_cast<bool>(serializer.Serialize(object)));
    const std::size_t size = serializer.GetBuffer().size();
    object = serializer.Deserialize("L", &status);
    Require(static_cast<bool>(status));
    Require(static_cast<bool>(serializer.Serialize(object)));
    Require(serializer.GetBuffer().size() == size);
}

static void ByHand(const Bytes& bytes) {
    BinaryInputArchive stream(bytes, {{"DeserializeValue", Value(true)}});
    std::uint64_t covered = 0;
    AnnotatingArchive archive(stream, [&covered](const StringView& line) {
        const std::string text(line);
        char* length = nullptr;
        Require(std::strtoull(text.c_str(), &length, 10) == covered);
        covered += std::strtoull(length, nullptr, 10);
    });
    try {
        RefPtr<Linked> object;
        WeakPtr<Object> weak;
        Array<RefPtr<Object>> list;
        Array<WeakPtr<Object>> weak_list;
        Array<Planed> planes;
        std::vector<float> reals;
        std::vector<std::string> texts;
        Value value;
        archive.Serialize<Linked>("object", object).SerializeObjectArray("list", list);
        archive.SerializeObject("weak", weak).SerializeObjectArray("weak list", weak_list);
        archive.Serialize<Planed>("planes", planes).SerializeFloatArray("reals", reals);
        archive.SerializeStringArray("texts", texts).Serialize<Value>("value", value);
        Require(covered <= bytes.size());
    } catch (const std::exception&) {
    }
}

}  // namespace kiv::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kiv::fuzz;
    kiv::baseLogger2.setLogLevel(static_cast<kiv::LogLevel>(5));  // above all levels: nothing
    const Bytes bytes(data, data + size);
    for (const auto& read : {&ThroughTheFrontEnd, &ByHand}) {
        read(bytes);
        Linked::CutAll();
        Require(Linked::living.empty());
    }
    return 0;
}
