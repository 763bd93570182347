// Heights of a terrain, in memory and in a file: whoever reads them takes a mapping, and never asks
// where the bytes are from.
#include <algorithm>
#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

#include "kiv/base/file.h"
#include "kiv/base/mapping.h"

// Works on any bytes, and copies none of them.
static void Report(const char* name, const kiv::Mapping& heights) {
    const kiv::uint8* const begin = heights.GetMapping();
    const kiv::uint8* const end = begin + heights.GetSize();
    if (begin == end)
        std::printf("%s: empty\n", name);
    else
        std::printf("%s: %zu heights up to %d\n", name, static_cast<std::size_t>(end - begin),
                    *std::max_element(begin, end));
}

int main() {
    const kiv::ScopedTemporaryDirectory folder;
    const kiv::DataMapping hills(std::vector<kiv::uint8>{1, 3, 9, 4, 2});
    Report("in memory", hills);

    // Whoever opens the name finds the old file or the new one, never half of one.
    if (!kiv::ReplaceFile(folder.fd, "terrain", hills))
        return 1;
    const std::unique_ptr<kiv::FileMapping> old =
        kiv::FileMapping::CreateReadOnly(folder.fd, "terrain");
    const kiv::DataMapping peaks(std::vector<kiv::uint8>(1000, 200));
    if (!old || !kiv::ReplaceFile(folder.fd, "terrain", peaks))
        return 1;
    Report("the file before", *old);  // still mapped, although the name has gone to another

    // A writable view writes to the file itself, so the next reader sees it.
    const kiv::UniqueFD file =
        kiv::OpenFile(folder.fd, "terrain", false, kiv::FilePermission::ReadWrite);
    kiv::FileMapping view(file, {kiv::FileMapping::Protection::Write});
    if (!view.IsValid())
        return 1;
    view.GetMutableMapping()[500] = 255;
    if (const auto now = kiv::FileMapping::CreateReadOnly(folder.path + "/terrain"))
        Report("the file now", *now);

    // Code and data of libraries are found by name, and stay loaded with their mapping.
    const kiv::SymbolMapping absolute(kiv::NativeLibrary::CreateForCurrentProcess(), "abs");
    if (auto* const function = absolute.GetFunction<int(int)>())
        std::printf("abs(-7) is %d\n", function(-7));
}
