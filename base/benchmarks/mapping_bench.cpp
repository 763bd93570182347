// A file of 256 MiB that lies in the system's cache: opened, mapped, read as 64-bit words and
// unmapped in each round. It is the reading that takes the time: hints of what will be read
// (MAP_POPULATE, MADV_SEQUENTIAL, MADV_WILLNEED, MADV_HUGEPAGE) changed it by less than the noise.

#include <QFile>
#include <QString>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "bench.h"
#include "kiv/base/file.h"
#include "kiv/base/mapping.h"

namespace {

using kiv::bench::Keep;

constexpr std::size_t kSize = std::size_t{256} << 20;

std::uint64_t Sum(const void* bytes) {
    const auto* words = static_cast<const std::uint64_t*>(bytes);
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < kSize / sizeof(*words); ++i)
        sum += words[i];
    return sum;
}

struct Kiv {
    static std::uint64_t SumOf(const std::string& path) {
        const auto mapping = kiv::FileMapping::CreateReadOnly(path);
        return mapping ? Sum(mapping->GetMapping()) : 0;
    }
};

struct SystemCalls {
    static std::uint64_t SumOf(const std::string& path) {
        const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        void* const view = ::mmap(nullptr, kSize, PROT_READ, MAP_SHARED, file, 0);
        ::close(file);
        if (view == MAP_FAILED)
            return 0;
        const std::uint64_t sum = Sum(view);
        ::munmap(view, kSize);
        return sum;
    }
};

struct Qt {
    static std::uint64_t SumOf(const std::string& path) {
        QFile file(QString::fromStdString(path));
        if (!file.open(QIODevice::ReadOnly))
            return 0;
        const uchar* const view = file.map(0, kSize);
        return view ? Sum(view) : 0;
    }
};

template <class Candidate>
void MapAndSum(benchmark::State& state) {
    const kiv::ScopedTemporaryDirectory folder;
    std::vector<std::uint8_t> bytes(kSize);
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < kSize; ++i)
        bytes[i] = static_cast<std::uint8_t>((word = word * 6364136223846793005 + 1) >> 56);
    const std::uint64_t expected = Sum(bytes.data());
    if (!kiv::ReplaceFile(folder.fd, "file", kiv::DataMapping(std::move(bytes))))
        return state.SkipWithError("the file could not be written");

    for (auto _ : state) {
        const std::uint64_t sum = Candidate::SumOf(folder.path + "/file");
        if (sum != expected)
            return state.SkipWithError("not the bytes of the file");
        Keep(sum);
    }
}

BENCHMARK(MapAndSum<Kiv>)->Name("mapping: 256 MiB summed/kiv");
BENCHMARK(MapAndSum<SystemCalls>)->Name("mapping: 256 MiB summed/limit mmap");
BENCHMARK(MapAndSum<Qt>)->Name("mapping: 256 MiB summed/QFile");

}  // namespace
