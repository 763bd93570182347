// About 32 KB of UTF-8 into a new wide text, and back into a new UTF-8 text. The peers are given
// the size and have units of 16 bits, iconv also an open converter and, instead of a string, memory
// that is large enough for any text of that size. Ours has to look for the NUL first, and where
// `wchar_t` has 32 bits, it writes and reads twice as much. For ASCII that is nearly all of the
// work: the limits are what filling so many units takes, and what looking for the end of them
// takes.

#include <QByteArray>
#include <QString>
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cwchar>
#include <memory>
#include <string>
#include <string_view>

#include <iconv.h>

#include "bench.h"
#include "kiv/base/textEncoding.h"

namespace {

using kiv::bench::Keep;
using kiv::bench::Renew;

constexpr std::size_t kSize = 32 * 1024;

// Words in an order that no branch predictor learns: prose does not repeat itself either.
template <std::size_t kCount>
std::string Prose(const std::string_view (&words)[kCount]) {
    std::string text;
    std::uint64_t state = 1;
    while (text.size() < kSize) {
        state = state * 6364136223846793005 + 1442695040888963407;
        text.append(words[(state >> 33) % kCount]).append(" ");
    }
    return text;
}

struct Ascii {
    static std::string Text() {
        return Prose({"the", "engine", "loads", "a", "scene,", "asks", "each", "of", "its",
                      "modules", "for", "resources", "that", "are", "missing", "and", "waits."});
    }
};

struct Mixed {
    static std::string Text() {
        return Prose({"the",
                      "engine",
                      "loads",
                      "a",
                      "scene,",
                      "asks",
                      "each",
                      "of",
                      "its",
                      "modules",
                      "für",
                      "façade",
                      "größere",
                      "naïve",
                      "μηχανή",
                      "φορτώνει",
                      "σκηνή,",
                      "движок",
                      "загружает",
                      "сцену",
                      "и",
                      "ждёт.",
                      "引擎加载场景,",
                      "资源",
                      "シーンを読み込む。",
                      "엔진이",
                      "장면을",
                      "😀",
                      "🚀🌍",
                      "waits."});
    }
};

struct Kiv {
    using Wide = std::wstring;
    static Wide Decode(const std::string& text) { return kiv::Utf8ToWideString(text); }
    static std::string Encode(const Wide& wide) { return kiv::WideStringToUtf8(wide); }
    static std::u16string Units(const Wide& wide) { return {wide.begin(), wide.end()}; }
    static std::string Bytes(const std::string& utf8) { return utf8; }
};

struct Qt {
    using Wide = QString;
    static Wide Decode(const std::string& text) {
        return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    }
    static QByteArray Encode(const Wide& wide) { return wide.toUtf8(); }
    static std::u16string Units(const Wide& wide) { return wide.toStdU16String(); }
    static std::string Bytes(const QByteArray& utf8) { return utf8.toStdString(); }
};

template <class Unit>
struct Block {
    explicit Block(std::size_t room) : units(new Unit[room]), size(room) {}
    std::unique_ptr<Unit[]> units;
    std::size_t size;
};

class Converter {
public:
    Converter(const char* to, const char* from) : handle_(iconv_open(to, from)) {}
    ~Converter() { iconv_close(handle_); }
    template <class To, class From>
    Block<To> Convert(const From* text, std::size_t size, std::size_t room) {
        Block<To> result(room);
        char* in = reinterpret_cast<char*>(const_cast<From*>(text));
        char* out = reinterpret_cast<char*>(result.units.get());
        std::size_t in_left = size * sizeof(From);
        std::size_t out_left = room * sizeof(To);
        iconv(handle_, &in, &in_left, &out, &out_left);
        result.size -= out_left / sizeof(To);
        return result;
    }

private:
    iconv_t handle_;
};

struct Iconv {
    using Wide = Block<char16_t>;
    static Wide Decode(const std::string& text) {
        static Converter converter("UTF-16LE", "UTF-8");
        return converter.Convert<char16_t>(text.data(), text.size(), text.size());
    }
    static Block<char> Encode(const Wide& wide) {
        static Converter converter("UTF-8", "UTF-16LE");
        return converter.Convert<char>(wide.units.get(), wide.size, 3 * wide.size);
    }
    static std::u16string Units(const Wide& wide) { return {wide.units.get(), wide.size}; }
    static std::string Bytes(const Block<char>& utf8) { return {utf8.units.get(), utf8.size}; }
};

template <class Library, class Language>
void Decode(benchmark::State& state) {
    std::string text = Language::Text();
    for (auto _ : state) {
        Renew(text);
        const auto wide = Library::Decode(text);
        Keep(wide);
    }
    if (Library::Units(Library::Decode(text)) != Qt::Units(Qt::Decode(text)))
        state.SkipWithError("the units are not those of the text");
}

template <class Library, class Language>
void Encode(benchmark::State& state) {
    const std::string text = Language::Text();
    auto wide = Library::Decode(text);
    for (auto _ : state) {
        Renew(wide);
        const auto utf8 = Library::Encode(wide);
        Keep(utf8);
    }
    if (Library::Bytes(Library::Encode(wide)) != text)
        state.SkipWithError("the text does not come back");
}

void FillUnits(benchmark::State& state) {
    const std::string text = Ascii::Text();
    for (auto _ : state) {
        const std::unique_ptr<wchar_t[]> units(new wchar_t[text.size()]);
        std::fill_n(units.get(), text.size(), L'a');
        Keep(units);
    }
}
BENCHMARK(FillUnits)->Name("UTF-8 to UTF-16: ASCII/limit filling");

void FindEnd(benchmark::State& state) {
    std::wstring wide = Kiv::Decode(Ascii::Text());
    for (auto _ : state) {
        Renew(wide);
        const std::size_t size = std::wcslen(wide.c_str());
        Keep(size);
    }
}
BENCHMARK(FindEnd)->Name("UTF-16 to UTF-8: ASCII/limit wcslen");

#define KIV_BENCH_LIBRARY(Library, candidate)                                     \
    BENCHMARK(Decode<Library, Ascii>)->Name("UTF-8 to UTF-16: ASCII/" candidate); \
    BENCHMARK(Decode<Library, Mixed>)->Name("UTF-8 to UTF-16: mixed/" candidate); \
    BENCHMARK(Encode<Library, Ascii>)->Name("UTF-16 to UTF-8: ASCII/" candidate); \
    BENCHMARK(Encode<Library, Mixed>)->Name("UTF-16 to UTF-8: mixed/" candidate);

KIV_BENCH_LIBRARY(Kiv, "kiv")
KIV_BENCH_LIBRARY(Qt, "Qt")
KIV_BENCH_LIBRARY(Iconv, "iconv")

}  // namespace
