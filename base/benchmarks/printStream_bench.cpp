// A text of 64 pieces, put together in a stream that is made for it, and looked at in the end. fmt
// has no stream and takes no lock: a piece is one call that appends to a growing buffer.
#include <array>
#include <iterator>
#include <sstream>
#include <string_view>

#include <fmt/format.h>

#include "bench.h"
#include "kiv/base/printStream.h"

namespace {

using kiv::bench::Keep;
using kiv::bench::Renew;

class FmtText {
public:
    template <class T>
    FmtText& operator<<(const T& piece) {
        fmt::format_to(std::back_inserter(buffer_), "{}", piece);
        return *this;
    }
    std::string_view view() const { return {buffer_.data(), buffer_.size()}; }

private:
    fmt::memory_buffer buffer_;
};

const char* textOf(const kiv::io::sstream& stream) {
    return stream.c_str();
}
std::string_view textOf(const std::ostringstream& stream) {
    return stream.view();
}
std::string_view textOf(const FmtText& text) {
    return text.view();
}

// One to ten digits, with a sign now and then.
std::array<int, 64> ints() {
    std::array<int, 64> values;
    unsigned state = 1;
    for (int& value : values) {
        state = state * 1664525 + 1013904223;
        value = static_cast<int>(state) >> (state % 31);
    }
    return values;
}

// Words as log messages have them, of 1 to 24 characters.
std::array<const char*, 64> strings() {
    constexpr const char* kWords[] = {"Cannot find type ",
                                      ": ",
                                      "mesh",
                                      ", ",
                                      "/",
                                      "textures",
                                      "expected an object",
                                      "property",
                                      " of ",
                                      "0",
                                      "JsonInputArchive",
                                      "SharedMemory::Unmap failed"};
    std::array<const char*, 64> values;
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = kWords[i * 7 % std::size(kWords)];
    return values;
}

template <class Stream, auto pieces>
void Print(benchmark::State& state) {
    auto values = pieces();
    for (auto _ : state) {
        Renew(values);
        Stream stream;
        for (const auto& value : values)
            stream << value;
        Keep(textOf(stream));
    }
}

BENCHMARK(Print<kiv::io::sstream, ints>)->Name("text stream: ints/kiv");
BENCHMARK(Print<std::ostringstream, ints>)->Name("text stream: ints/std::ostringstream");
BENCHMARK(Print<FmtText, ints>)->Name("text stream: ints/fmt");
BENCHMARK(Print<kiv::io::sstream, strings>)->Name("text stream: strings/kiv");
BENCHMARK(Print<std::ostringstream, strings>)->Name("text stream: strings/std::ostringstream");
BENCHMARK(Print<FmtText, strings>)->Name("text stream: strings/fmt");

}  // namespace
