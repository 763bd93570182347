// The catalogue of a directory tree: files become objects, the objects a JSON document, and the
// document objects again, which are then compared with the first ones. Shows what a module needs to
// have its own classes saved.

#include <cerrno>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>

#include "catalogue/catalogueTypes.h"
#include "catalogue/display.h"
#include "catalogue/fileContents.h"
#include "catalogue/graphCompare.h"
#include "catalogue/graphOwner.h"
#include "catalogue/jsonFile.h"
#include "catalogue/options.h"
#include "catalogue/progress.h"
#include "catalogue/readableText.h"
#include "catalogue/treeWalk.h"
#include "kiv/base/jsonSerializer.h"
#include "kiv/base/logging.h"

namespace catalogue {
namespace {

/// The one line that a run which failed ends with.
struct Failure {
    std::string what;
    std::string advice;
};

std::string NameOf(const std::filesystem::path& path) {
    return ReadableText(path.string());
}

class Stopwatch {
public:
    double Milliseconds() const {
        return std::chrono::duration<double, std::milli>(Clock::now() - start_).count();
    }

private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point start_ = Clock::now();
};

std::filesystem::path DirectoryOf(const Options& options) {
    std::error_code error;
    std::filesystem::path directory = std::filesystem::canonical(options.directory, error);
    if (!error)
        std::filesystem::directory_iterator(directory, error);
    if (error)
        throw Failure{NameOf(options.directory) + " cannot be listed: " + error.message(),
                      "name a directory that can be read"};
    return directory;
}

struct Report {
    kiv::uint64 files = 0;
    kiv::uint64 unread = 0;
    kiv::uint64 bytesWritten = 0;
    double writeMilliseconds = 0;
    double readMilliseconds = 0;
    Comparison comparison;
    std::string display;
};

void Save(const kiv::RefPtr<Folder>& root, JsonFile& file, Report* report) {
    const Stopwatch stopwatch;
    kiv::JsonSerializer serializer({});
    if (!serializer.Serialize(root))
        throw Failure{"the graph cannot be written as JSON",
                      "raise the stack limit (ulimit -s) if folders lie very deep in each other, "
                      "or name a smaller directory"};
    const std::string text = serializer.GetSerializeString(nullptr);
    if (!file.Write(text))
        throw Failure{NameOf(file.path()) + " cannot be written: " + std::strerror(errno),
                      "name another file with --output FILE"};
    report->bytesWritten = text.size();
    report->writeMilliseconds = stopwatch.Milliseconds();
}

kiv::RefPtr<Folder> Load(JsonFile& file, Report* report) {
    const Stopwatch stopwatch;
    std::string text;
    if (!file.Read(&text))
        throw Failure{NameOf(file.path()) + " cannot be read back: " + std::strerror(errno),
                      "name another file with --output FILE"};
    kiv::JsonSerializer serializer({});
    serializer.SetSerializeString(text);
    kiv::Status status;
    const kiv::RefPtr<kiv::Object> object = serializer.Deserialize("Folder", &status);
    if (!status || !object || !object->IsInstanceOf<Folder>())
        throw Failure{NameOf(file.path()) + " does not give the graph back",
                      "raise the stack limit (ulimit -s) if folders lie very deep in each other, "
                      "or name a smaller directory"};
    report->readMilliseconds = stopwatch.Milliseconds();
    return kiv::RefPtr<Folder>(static_cast<Folder*>(object.get()));
}

Report Run(const Options& options, const std::filesystem::path& directory, JsonFile& file) {
    Progress progress;
    Report report;
    Tree tree = WalkTree(directory, file.path(), progress);
    const GraphOwner<Folder> written(tree.root);
    report.unread = tree.unread + ReadContents(tree.files, progress);
    report.files = tree.files.size();
    tree = {};

    progress.Begin("Writing");
    Save(written.root(), file, &report);
    progress.Begin("Reading back");
    const GraphOwner<Folder> read(Load(file, &report));
    progress.Begin("Comparing");
    report.comparison = CompareGraphs(*written.root(), *read.root());
    if (!report.comparison.difference.empty())
        throw Failure{
            "what was read differs from what was written at " + report.comparison.difference,
            "please report it together with " + NameOf(file.path())};
    if (options.show) {
        kiv::Status status;
        report.display = DisplayOneEntry(*read.root(), &status);
        if (!status)
            throw Failure{"an entry cannot be shown", "run without --show"};
    }
    return report;
}

void Print(const Report& report, const JsonFile& file) {
    const auto count = [](const char* name, kiv::uint64 value) {
        std::printf("%-20s%12" PRIu64 "\n", name, value);
    };
    count("objects", report.comparison.objects);
    count("properties", report.comparison.properties);
    count("files", report.files);
    count("could not be read", report.unread);
    count("bytes written", report.bytesWritten);
    std::printf("%-20s%12.1f\n", "ms to write", report.writeMilliseconds);
    std::printf("%-20s%12.1f\n", "ms to read", report.readMilliseconds);
    std::printf("%-20s%12s\n", "graphs", "equal");
    std::printf("file  %s\n", NameOf(file.path()).c_str());
    if (!report.display.empty())
        std::printf("%s\n", report.display.c_str());
}

int Main(int count, char** arguments) {
    const std::optional<Options> options = ParseOptions(count, arguments);
    if (!options)
        return 2;
    if (options->help) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    // Failures come back as a `Status` and end in one line here; only check sites may add theirs.
    kiv::logging::setLogLevel(kiv::LogLevel::Fatal);
    try {
        const std::filesystem::path directory = DirectoryOf(*options);
        JsonFile file(options->output);
        Print(Run(*options, directory, file), file);
        return 0;
    } catch (const Failure& failure) {
        std::fprintf(stderr, "catalogue: %s; %s\n", failure.what.c_str(), failure.advice.c_str());
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "catalogue: %s; try another DIR or --output FILE\n", exception.what());
    }
    return 1;
}

}  // namespace
}  // namespace catalogue

int main(int count, char** arguments) {
    return catalogue::Main(count, arguments);
}
