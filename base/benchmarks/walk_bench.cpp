// A walk over a tree of files, in which every candidate meets each name once and finds out by
// itself which of them are directories.
#include <QDirIterator>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include "bench.h"
#include "kiv/base/file.h"

namespace {

using kiv::FilePermission;
using kiv::ScopedTemporaryDirectory;
using kiv::UniqueFD;
using kiv::bench::Keep;

constexpr std::size_t kDirectories = 200;
constexpr std::size_t kFilesInEach = 100;
constexpr std::size_t kDirectoriesInEach = 3;
constexpr std::size_t kNames = kDirectories * (kFilesInEach + 1);

std::string Name(const char* kind, std::size_t number) {
    return kind + std::to_string(number);
}

// Made once a process, before anything is measured.
const ScopedTemporaryDirectory& Tree() {
    static const ScopedTemporaryDirectory top;
    [[maybe_unused]] static const bool filled = [] {
        std::vector<UniqueFD> directories;
        for (std::size_t i = 0; i < kDirectories; ++i) {
            const UniqueFD& above =
                i < kDirectoriesInEach ? top.fd : directories[i / kDirectoriesInEach - 1];
            directories.push_back(kiv::OpenDirectory(above, Name("directory", i).c_str(), true,
                                                     FilePermission::Read));
            for (std::size_t j = 0; j < kFilesInEach; ++j)
                Keep(kiv::OpenFile(directories.back(), Name("file", j).c_str(), true,
                                   FilePermission::Write));
        }
        return true;
    }();
    return top;
}

struct Sum {
    std::size_t names = 0;
    std::size_t characters = 0;
};

Sum WithKiv() {
    Sum sum;
    kiv::VisitFilesRecursively(Tree().fd, [&sum](const UniqueFD&, const std::string& name) {
        ++sum.names;
        sum.characters += name.size();
        return true;
    });
    return sum;
}

Sum WithStandardLibrary() {
    Sum sum;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(Tree().path)) {
        ++sum.names;
        sum.characters += entry.path().native().size();
    }
    return sum;
}

Sum WithQt() {
    Sum sum;
    QDirIterator entries(QString::fromStdString(Tree().path),
                         QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        ++sum.names;
        sum.characters += static_cast<std::size_t>(entries.next().size());
    }
    return sum;
}

void AddByHand(int directory, Sum& sum) {
    alignas(dirent64) char buffer[32 * 1024];
    std::vector<std::string> below;
    for (ssize_t size; (size = ::getdents64(directory, buffer, sizeof(buffer))) > 0;)
        for (ssize_t at = 0; at < size;) {
            const auto* entry = reinterpret_cast<const dirent64*>(buffer + at);
            at += entry->d_reclen;
            if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
                continue;
            ++sum.names;
            sum.characters += std::strlen(entry->d_name);
            if (entry->d_type == DT_DIR)
                below.emplace_back(entry->d_name);
        }
    for (const std::string& name : below) {
        const int child = ::openat(directory, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        AddByHand(child, sum);
        ::close(child);
    }
}

Sum ByHand() {
    Sum sum;
    const int top = ::open(Tree().path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    AddByHand(top, sum);
    ::close(top);
    return sum;
}

template <Sum (*kWalk)()>
void Walk(benchmark::State& state) {
    if (kWalk().names != kNames) {
        state.SkipWithError("the walk missed files");
        return;
    }
    for (auto _ : state) {
        Sum sum = kWalk();
        Keep(sum);
    }
}

BENCHMARK(Walk<WithKiv>)->Name("walk: 20,000 files/kiv");
BENCHMARK(Walk<WithStandardLibrary>)->Name("walk: 20,000 files/std::filesystem");
BENCHMARK(Walk<WithQt>)->Name("walk: 20,000 files/QDirIterator");
BENCHMARK(Walk<ByHand>)->Name("walk: 20,000 files/limit getdents");

}  // namespace
