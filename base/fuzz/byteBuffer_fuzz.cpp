// Lets the input choose the calls of a reader and of a writer, and holds both against a plain model
// of bytes and numbers.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "kiv/base/byteBuffer.h"

namespace {

using Bytes = std::vector<unsigned char>;

void Require(bool condition) {
    if (!condition)
        std::abort();
}

// So many bytes from the position on as a number; nothing else may have happened if they aren't
// there.
std::uint64_t Number(const Bytes& bytes, std::size_t position, std::size_t size) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < size; ++i)
        number = number << 8 | bytes[position + i];
    return number;
}

class ReaderModel {
public:
    explicit ReaderModel(const Bytes& bytes) : bytes_(bytes), reader_(bytes) {}

    // One call, as two bytes of a script choose it.
    void Step(unsigned char operation, unsigned char argument) {
        // Small sizes, and some that would wrap.
        const std::uint64_t size =
            argument < 0xF0 ? argument : ~std::uint64_t{0} - (argument & 0xF);
        switch (operation % 10) {
            case 0:
                return Fixed<std::uint8_t, 1>(&kiv::ByteBufferReader::ReadUInt8);
            case 1:
                return Fixed<std::uint16_t, 2>(&kiv::ByteBufferReader::ReadUInt16);
            case 2:
                return Fixed<std::uint32_t, 3>(&kiv::ByteBufferReader::ReadUInt24);
            case 3:
                return Fixed<std::uint32_t, 4>(&kiv::ByteBufferReader::ReadUInt32);
            case 4:
                return Fixed<std::uint64_t, 8>(&kiv::ByteBufferReader::ReadUInt64);
            case 5:
                return Varint();
            case 6:
                return Expect(reader_.Consume(size), size);
            case 7: {
                std::string text = "kept";
                const bool read = reader_.ReadString(&text, size);
                Require(text == (read ? "kept" + std::string(bytes_.begin() + position_,
                                                             bytes_.begin() + position_ + size)
                                      : "kept"));
                return Expect(read, size);
            }
            case 8: {
                kiv::StringView view;
                const bool read = reader_.ReadStringView(&view, size);
                Require(!read ||
                        view.data() == reinterpret_cast<const char*>(bytes_.data()) + position_);
                return Expect(read, size);
            }
            default: {
                Bytes target(argument, 0xA5);
                const bool read = reader_.ReadBytes(target);
                Require(read ? std::equal(target.begin(), target.end(), bytes_.begin() + position_)
                             : target == Bytes(argument, 0xA5));
                return Expect(read, argument);
            }
        }
    }

private:
    void Expect(bool read, std::uint64_t size) {
        Require(read == (size <= bytes_.size() - position_));
        if (read)
            position_ += size;
        Require(reader_.position() == position_);
        Require(reader_.remaining() == bytes_.size() - position_);
    }
    template <class T, std::size_t kSize>
    void Fixed(bool (kiv::ByteBufferReader::*read)(T*)) {
        T number = 42;
        const bool done = (reader_.*read)(&number);
        Require(number == (done ? Number(bytes_, position_, kSize) : 42));
        Expect(done, kSize);
    }
    void Varint() {
        std::uint64_t expected = 0;
        bool ends = false;
        std::size_t taken = 0;
        while (!ends && taken < 10 && position_ + taken < bytes_.size()) {
            const std::uint64_t group = bytes_[position_ + taken];
            expected |= (group & 0x7F) << 7 * taken;
            ends = group < 0x80;
            ++taken;
        }
        std::uint64_t number = 42;
        Require(reader_.ReadUVarint(&number) == ends);
        Require(number == (ends ? expected : 42));
        position_ += taken;
        Require(reader_.position() == position_);
    }

    const Bytes& bytes_;
    kiv::ByteBufferReader reader_;
    std::size_t position_ = 0;
};

class WriterModel {
public:
    void Step(unsigned char operation, unsigned char argument) {
        const std::uint64_t number = argument * 0x0123456789ABCDEFu;
        switch (operation % 8) {
            case 0:
                writer_.AppendUInt8(argument);
                return Expect(argument, 1);
            case 1:
                writer_.AppendUInt16(static_cast<std::uint16_t>(number));
                return Expect(number, 2);
            case 2:
                writer_.AppendUInt24(static_cast<std::uint32_t>(number));
                return Expect(number, 3);
            case 3:
                writer_.AppendUInt32(static_cast<std::uint32_t>(number));
                return Expect(number, 4);
            case 4:
                writer_.AppendUInt64(number);
                return Expect(number, 8);
            case 5: {
                const Bytes block(argument * 40u, argument);
                writer_.AppendBytes(block);
                model_.insert(model_.end(), block.begin(), block.end());
                return Grow();
            }
            case 6:
                writer_.Truncate(number % 9000);
                model_.resize(std::min<std::size_t>(model_.size(), number % 9000));
                return Grow();
            default:
                writer_.Reserve(argument * 100u);
                capacity_ = std::max<std::uint64_t>(capacity_, argument * 100u);
                return Grow();
        }
    }
    void Finish() const {
        Require(Bytes(writer_.data(), writer_.data() + writer_.size()) == model_);
    }

private:
    void Expect(std::uint64_t number, std::size_t size) {
        for (std::size_t i = size; i-- > 0;)
            model_.push_back(static_cast<unsigned char>(number >> 8 * i));
        Grow();
    }
    void Grow() {
        if (model_.size() > capacity_)
            capacity_ = std::max<std::uint64_t>(model_.size(), capacity_ + capacity_ / 2);
        Require(writer_.size() == model_.size());
        Require(writer_.capacity() == capacity_);
    }

    kiv::ByteBufferWriter writer_;
    std::uint64_t capacity_ = kiv::ByteBufferWriter::kFirstCapacity;
    Bytes model_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The first half is the script, the second what is read.
    const std::size_t half = size / 2;
    const Bytes bytes(data + half, data + size);
    ReaderModel reader(bytes);
    WriterModel writer;
    for (std::size_t i = 0; i + 1 < half; i += 2) {
        reader.Step(data[i], data[i + 1]);
        writer.Step(data[i], data[i + 1]);
    }
    writer.Finish();
    return 0;
}
