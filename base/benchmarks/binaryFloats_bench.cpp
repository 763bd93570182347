// Writes a million floats as bytes and reads them into an empty container, each library from and
// into the container that is its own.

#include <QByteArray>
#include <QDataStream>
#include <QIODevice>
#include <QList>
#include <algorithm>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/serialization/vector.hpp>
#include <cereal/archives/binary.hpp>
#include <cereal/types/vector.hpp>

#include "bench.h"
#include "kiv/base/array.h"
#include "kiv/base/binaryArchive.h"
#include "memoryStream.h"
#include "messages.pb.h"

namespace {

using kiv::bench::Keep;
using kiv::bench::MemoryReader;
using kiv::bench::MemoryWriter;

// The bytes stay where the archive wrote them, as those of the peers do.
struct Kiv {
    using Floats = kiv::Array<float>;
    using Bytes = std::optional<kiv::BinaryOutputArchive>;
    using Options = std::unordered_map<std::string, kiv::Value>;

    static Floats Make(const std::vector<float>& values) {
        return Floats(values.begin(), values.end());
    }
    static void Save(Floats& values, Bytes& bytes) {
        bytes.emplace(Options());
        bytes->SerializeFloatArray("values", values);
    }
    static void Load(const Bytes& bytes, Floats& values) {
        kiv::BinaryInputArchive archive(bytes->GetBytes(), {});
        archive.SerializeFloatArray("values", values);
    }
};

struct Cereal {
    using Floats = std::vector<float>;
    using Bytes = std::string;

    static Floats Make(const std::vector<float>& values) { return values; }
    static void Save(const Floats& values, Bytes& bytes) {
        MemoryWriter buffer(bytes);
        std::ostream stream(&buffer);
        cereal::BinaryOutputArchive archive(stream);
        archive(values);
    }
    static void Load(const Bytes& bytes, Floats& values) {
        MemoryReader buffer(bytes);
        std::istream stream(&buffer);
        cereal::BinaryInputArchive archive(stream);
        archive(values);
    }
};

struct Boost {
    using Floats = std::vector<float>;
    using Bytes = std::string;
    static constexpr unsigned kFlags = boost::archive::no_header | boost::archive::no_codecvt;

    static Floats Make(const std::vector<float>& values) { return values; }
    static void Save(const Floats& values, Bytes& bytes) {
        MemoryWriter buffer(bytes);
        boost::archive::binary_oarchive archive(buffer, kFlags);
        archive << values;
    }
    static void Load(const Bytes& bytes, Floats& values) {
        MemoryReader buffer(bytes);
        boost::archive::binary_iarchive archive(buffer, kFlags);
        archive >> values;
    }
};

struct Qt {
    using Floats = QList<float>;
    using Bytes = QByteArray;

    static Floats Make(const std::vector<float>& values) {
        return Floats(values.begin(), values.end());
    }
    static void Save(const Floats& values, Bytes& bytes) {
        QDataStream stream(&bytes, QIODevice::WriteOnly);
        stream.setFloatingPointPrecision(QDataStream::SinglePrecision);
        stream << values;
    }
    static void Load(const Bytes& bytes, Floats& values) {
        QDataStream stream(bytes);
        stream.setFloatingPointPrecision(QDataStream::SinglePrecision);
        stream >> values;
    }
};

struct Protobuf {
    using Floats = kiv::bench::messages::Floats;
    using Bytes = std::string;

    static Floats Make(const std::vector<float>& values) {
        Floats message;
        message.mutable_values()->Assign(values.begin(), values.end());
        return message;
    }
    static void Save(const Floats& values, Bytes& bytes) { values.SerializeToString(&bytes); }
    static void Load(const Bytes& bytes, Floats& values) { values.ParseFromString(bytes); }
};

const auto& ElementsOf(const auto& values) {
    return values;
}
const auto& ElementsOf(const Protobuf::Floats& message) {
    return message.values();
}

std::vector<float> MillionFloats() {
    std::vector<float> values(1'000'000);
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = static_cast<float>(i) / 7;
    return values;
}

template <class Library>
void Check(benchmark::State& state, const typename Library::Floats& values) {
    const auto& elements = ElementsOf(values);
    if (!std::ranges::equal(elements, MillionFloats()))
        state.SkipWithError("the floats are not those that were saved");
}

template <class Library>
void Save(benchmark::State& state) {
    auto values = Library::Make(MillionFloats());
    typename Library::Bytes bytes;
    for (auto _ : state) {
        Library::Save(values, bytes);
        Keep(bytes);
    }
    typename Library::Floats loaded;
    Library::Load(bytes, loaded);
    Check<Library>(state, loaded);
}

template <class Library>
void Load(benchmark::State& state) {
    auto values = Library::Make(MillionFloats());
    typename Library::Bytes bytes;
    Library::Save(values, bytes);
    for (auto _ : state) {
        typename Library::Floats loaded;
        Library::Load(bytes, loaded);
        Keep(loaded);
    }
    typename Library::Floats loaded;
    Library::Load(bytes, loaded);
    Check<Library>(state, loaded);
}

#define KIV_BENCH_FLOATS(Library, name)                                              \
    BENCHMARK(Save<Library>)->Name("binary archive: a million floats, saved/" name); \
    BENCHMARK(Load<Library>)->Name("binary archive: a million floats, loaded/" name)

KIV_BENCH_FLOATS(Kiv, "kiv");
KIV_BENCH_FLOATS(Boost, "Boost");
KIV_BENCH_FLOATS(Cereal, "cereal");
KIV_BENCH_FLOATS(Protobuf, "protobuf");
KIV_BENCH_FLOATS(Qt, "QDataStream");

}  // namespace
