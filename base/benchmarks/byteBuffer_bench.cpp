// A thousand integers into a new buffer, and out of it again. Every buffer starts with room for as
// many bytes as ours does. QDataStream has no integers of a varying length.

#include <QByteArray>
#include <QDataStream>
#include <QIODevice>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include "bench.h"
#include "kiv/base/byteBuffer.h"

namespace {

using kiv::bench::Keep;

constexpr std::size_t kRoom = kiv::ByteBufferWriter::kFirstCapacity;

// A number that is written with as many bytes as it needs.
struct Varint {
    std::uint64_t number = 0;
    bool operator==(const Varint&) const = default;
};

// One shape for the three: a writer over a buffer of its own, and a reader of its bytes.

struct Kiv {
    class Writer {
    public:
        void Write(std::uint8_t value) { buffer_.AppendUInt8(value); }
        void Write(std::uint32_t value) { buffer_.AppendUInt32(value); }
        void Write(std::uint64_t value) { buffer_.AppendUInt64(value); }
        void Write(Varint value) { buffer_.AppendUVarint(value.number); }
        void Finish() {}
        std::string bytes() const { return {buffer_.data(), buffer_.data() + buffer_.size()}; }

    private:
        kiv::ByteBufferWriter buffer_;
    };

    class Reader {
    public:
        explicit Reader(const std::string& bytes)
            : reader_(kiv::ArrayView<const unsigned char>(
                  reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size())) {}
        bool Read(std::uint8_t& value) { return reader_.ReadUInt8(&value); }
        bool Read(std::uint32_t& value) { return reader_.ReadUInt32(&value); }
        bool Read(std::uint64_t& value) { return reader_.ReadUInt64(&value); }
        bool Read(Varint& value) { return reader_.ReadUVarint(&value.number); }

    private:
        kiv::ByteBufferReader reader_;
    };
};

struct Protobuf {
    class Writer {
    public:
        void Write(std::uint8_t value) { coded_.WriteRaw(&value, 1); }
        void Write(std::uint32_t value) { coded_.WriteLittleEndian32(value); }
        void Write(std::uint64_t value) { coded_.WriteLittleEndian64(value); }
        void Write(Varint value) { coded_.WriteVarint64(value.number); }
        void Finish() { coded_.Trim(); }
        const std::string& bytes() const { return bytes_; }

    private:
        static std::string WithRoom() {
            std::string bytes;
            bytes.reserve(kRoom);
            return bytes;
        }
        std::string bytes_ = WithRoom();
        google::protobuf::io::StringOutputStream stream_{&bytes_};
        google::protobuf::io::CodedOutputStream coded_{&stream_};  // takes the room at once
    };

    class Reader {
    public:
        explicit Reader(const std::string& bytes)
            : coded_(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                     static_cast<int>(bytes.size())) {}
        bool Read(std::uint8_t& value) { return coded_.ReadRaw(&value, 1); }
        bool Read(std::uint32_t& value) { return coded_.ReadLittleEndian32(&value); }
        bool Read(std::uint64_t& value) { return coded_.ReadLittleEndian64(&value); }
        bool Read(Varint& value) { return coded_.ReadVarint64(&value.number); }

    private:
        google::protobuf::io::CodedInputStream coded_;
    };
};

struct Qt {
    class Writer {
    public:
        Writer() { bytes_.reserve(kRoom); }
        void Write(std::uint8_t value) { stream_ << value; }
        void Write(std::uint32_t value) { stream_ << value; }
        void Write(std::uint64_t value) { stream_ << quint64{value}; }
        void Finish() {}
        std::string bytes() const { return bytes_.toStdString(); }

    private:
        QByteArray bytes_;
        QDataStream stream_{&bytes_, QIODevice::Append};
    };

    class Reader {
    public:
        explicit Reader(const std::string& bytes)
            : stream_(QByteArray::fromRawData(bytes.data(), static_cast<qsizetype>(bytes.size()))) {
        }
        bool Read(std::uint8_t& value) { return _IsGood(stream_ >> value); }
        bool Read(std::uint32_t& value) { return _IsGood(stream_ >> value); }
        bool Read(std::uint64_t& value) {
            quint64 number = 0;
            stream_ >> number;
            value = number;
            return _IsGood(stream_);
        }

    private:
        static bool _IsGood(const QDataStream& stream) {
            return stream.status() == QDataStream::Ok;
        }
        QDataStream stream_;
    };
};

// The varints are of all lengths.
template <class T>
std::vector<T> ThousandValues() {
    std::vector<T> values(1000);
    std::uint64_t state = 1;
    for (T& value : values) {
        state = state * 6364136223846793005 + 1442695040888963407;
        if constexpr (std::is_same_v<T, Varint>)
            value.number = state >> (state >> 32) % 64;
        else
            value = static_cast<T>(state >> (64 - 8 * sizeof(T)));
    }
    return values;
}

template <class Writer, class T>
void WriteAll(Writer& writer, const std::vector<T>& values) {
    for (const T& value : values)
        writer.Write(value);
    writer.Finish();
}

template <class Library, class T>
bool ReadAll(const std::string& bytes, std::vector<T>& values) {
    typename Library::Reader reader(bytes);
    for (T& value : values) {
        if (!reader.Read(value))
            return false;
    }
    return true;
}

template <class Library, class T>
void Write(benchmark::State& state) {
    const std::vector<T> values = ThousandValues<T>();
    for (auto _ : state) {
        typename Library::Writer writer;
        WriteAll(writer, values);
        Keep(writer);
    }
    typename Library::Writer writer;
    WriteAll(writer, values);
    std::vector<T> read(values.size());
    if (!ReadAll<Library>(writer.bytes(), read) || read != values)
        state.SkipWithError("what was written does not read back");
}

template <class Library, class T>
void Read(benchmark::State& state) {
    const std::vector<T> values = ThousandValues<T>();
    typename Library::Writer writer;
    WriteAll(writer, values);
    const std::string bytes = writer.bytes();
    std::vector<T> read(values.size());
    bool is_good = true;
    for (auto _ : state) {
        is_good &= ReadAll<Library>(bytes, read);
        Keep(read);
    }
    if (!is_good || read != values)
        state.SkipWithError("the integers are not those that were written");
}

#define KIV_BENCH_INTEGER(Library, candidate, T, name)                                     \
    BENCHMARK(Write<Library, T>)->Name("byte buffer: 1,000 " name ", written/" candidate); \
    BENCHMARK(Read<Library, T>)->Name("byte buffer: 1,000 " name ", read/" candidate);

#define KIV_BENCH_INTEGERS(Library, candidate)                              \
    KIV_BENCH_INTEGER(Library, candidate, std::uint8_t, "8-bit integers")   \
    KIV_BENCH_INTEGER(Library, candidate, std::uint32_t, "32-bit integers") \
    KIV_BENCH_INTEGER(Library, candidate, std::uint64_t, "64-bit integers")

KIV_BENCH_INTEGERS(Kiv, "kiv")
KIV_BENCH_INTEGER(Kiv, "kiv", Varint, "varints")
KIV_BENCH_INTEGERS(Protobuf, "protobuf")
KIV_BENCH_INTEGER(Protobuf, "protobuf", Varint, "varints")
KIV_BENCH_INTEGERS(Qt, "QDataStream")

}  // namespace
