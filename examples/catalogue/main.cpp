// The catalogue of a directory tree: files become objects, the objects a JSON document and a binary
// stream, and each of these objects again, which are then compared with the first ones. Shows what
// a module needs to have its own classes saved.

#include <chrono>
#include <cinttypes>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "catalogue/annotatedView.h"
#include "catalogue/archiveFile.h"
#include "catalogue/catalogueLog.h"
#include "catalogue/catalogueTypes.h"
#include "catalogue/display.h"
#include "catalogue/fileContents.h"
#include "catalogue/graphCompare.h"
#include "catalogue/graphOwner.h"
#include "catalogue/options.h"
#include "catalogue/progress.h"
#include "catalogue/readableText.h"
#include "catalogue/storedForm.h"
#include "catalogue/treeWalk.h"
#include "kiv/base/byteBuffer.h"
#include "kiv/base/file.h"
#include "kiv/base/logging.h"
#include "kiv/base/mapping.h"
#include "kiv/base/paths.h"

namespace catalogue {
namespace {

/// The one line that a run which failed ends with.
struct Failure {
    std::string what;
    std::string advice;
};

class Stopwatch {
public:
    double Milliseconds() const {
        return std::chrono::duration<double, std::milli>(Clock::now() - start_).count();
    }

private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point start_ = Clock::now();
};

std::string DirectoryOf(const Options& options) {
    const std::string directory = kiv::paths::AbsolutePath(options.directory);
    if (!kiv::OpenDirectory(directory.c_str(), false, kiv::FilePermission::Read).is_valid())
        throw Failure{ReadableText(directory) + " cannot be listed",
                      "name a directory that can be read"};
    return directory;
}

kiv::ArrayView<const unsigned char> BytesOf(const kiv::Mapping& mapping) {
    return {mapping.GetMapping(), mapping.GetSize()};
}

/// A graph on its way into its file and back.
struct StoredGraph {
    const StoredForm& form;
    ArchiveFile file;
    std::size_t bytesWritten = 0;
    double writeMilliseconds = 0;
    double readMilliseconds = 0;
};

struct Report {
    kiv::uint64 files = 0;
    kiv::uint64 unread = 0;
    Comparison comparison;
    std::string display;
};

Failure GraphFailure(const std::string& what) {
    return {what,
            "raise the stack limit (ulimit -s) if folders lie very deep in each other, or name a "
            "smaller directory"};
}

void Log(const StoredGraph& graph, const char* what, double milliseconds) {
    catalogueLog.log(kiv::LogLevel::Info, graph.form.name, "%s %s in %.1f ms",
                     ReadableText(graph.file.path()).c_str(), what, milliseconds);
}

void Save(const kiv::RefPtr<Folder>& root, StoredGraph* graph) {
    const Stopwatch stopwatch;
    std::vector<unsigned char> bytes;
    if (!graph->form.write(root, &bytes))
        throw GraphFailure(std::string("the graph cannot be written in the ") + graph->form.name +
                           " form");
    graph->bytesWritten = bytes.size();
    if (!graph->file.Write(std::move(bytes)))
        throw Failure{ReadableText(graph->file.path()) + " cannot be written",
                      "name another file with --output FILE"};
    graph->writeMilliseconds = stopwatch.Milliseconds();
    Log(*graph, "written", graph->writeMilliseconds);
}

kiv::RefPtr<Folder> Load(StoredGraph* graph) {
    const Stopwatch stopwatch;
    const std::unique_ptr<kiv::FileMapping> mapping = graph->file.Read();
    if (!mapping)
        throw Failure{ReadableText(graph->file.path()) + " cannot be read back",
                      "name another file with --output FILE"};
    kiv::Status status;
    const kiv::RefPtr<kiv::Object> object = graph->form.read(BytesOf(*mapping), &status);
    if (!status || !object || !object->IsInstanceOf<Folder>())
        throw GraphFailure(ReadableText(graph->file.path()) + " does not give the graph back");
    graph->readMilliseconds = stopwatch.Milliseconds();
    Log(*graph, "read back", graph->readMilliseconds);
    return kiv::RefPtr<Folder>(static_cast<Folder*>(object.get()));
}

Report Run(const Options& options, const std::string& directory, std::vector<StoredGraph>* graphs) {
    // Between log lines a line of progress would only be in the way.
    Progress progress(!options.verbose);
    Report report;
    std::vector<const ArchiveFile*> outputs;
    for (const StoredGraph& graph : *graphs)
        outputs.push_back(&graph.file);
    Tree tree = WalkTree(directory, outputs, progress);
    const GraphOwner<Folder> written(tree.root);
    report.unread = tree.unread + ReadContents(tree.files, progress);
    report.files = tree.files.size();
    catalogueLog.log(kiv::LogLevel::Info, "Run", "%s has %zu files",
                     ReadableText(directory).c_str(), tree.files.size());
    tree = {};

    // One after the other, so that no more than two graphs are in memory: what equals the first
    // graph equals all others that do.
    for (StoredGraph& graph : *graphs) {
        progress.Begin("Writing");
        Save(written.root(), &graph);
        progress.Begin("Reading back");
        const GraphOwner<Folder> read(Load(&graph));
        progress.Begin("Comparing");
        report.comparison = CompareGraphs(*written.root(), *read.root());
        if (!report.comparison.difference.empty())
            throw Failure{
                "what was read differs from what was written at " + report.comparison.difference,
                "please report it together with " + ReadableText(graph.file.path())};
    }
    if (options.show) {
        kiv::Status status;
        report.display = DisplayOneEntry(*written.root(), &status);
        if (!status)
            throw Failure{"an entry cannot be shown", "run without --show"};
    }
    return report;
}

void Print(const Report& report, const std::vector<StoredGraph>& graphs) {
    const auto count = [](const char* name, kiv::uint64 value) {
        std::printf("%-20s%12" PRIu64 "\n", name, value);
    };
    count("objects", report.comparison.objects);
    count("properties", report.comparison.properties);
    count("files", report.files);
    count("could not be read", report.unread);

    const auto row = [&](const char* name, const auto& printCell) {
        std::printf("%-20s", name);
        for (const StoredGraph& graph : graphs)
            printCell(graph);
        std::printf("\n");
    };
    std::printf("\n");
    row("", [](const StoredGraph& graph) { std::printf("%12s", graph.form.name); });
    row("bytes written",
        [](const StoredGraph& graph) { std::printf("%12zu", graph.bytesWritten); });
    row("ms to write",
        [](const StoredGraph& graph) { std::printf("%12.1f", graph.writeMilliseconds); });
    row("ms to read",
        [](const StoredGraph& graph) { std::printf("%12.1f", graph.readMilliseconds); });
    row("graph", [](const StoredGraph&) { std::printf("%12s", "equal"); });

    std::printf("\n");
    for (const StoredGraph& graph : graphs)
        std::printf("%-8s%s\n", graph.form.name, ReadableText(graph.file.path()).c_str());
    if (!report.display.empty())
        std::printf("%s\n", report.display.c_str());
}

void MakeCatalogue(const Options& options, const std::string& dataDirectory) {
    const std::string directory = DirectoryOf(options);
    const std::string output = options.output.empty()
                                   ? kiv::paths::JoinPaths({dataDirectory, "catalogue.json"})
                                   : options.output;
    std::vector<StoredGraph> graphs;
    for (const StoredForm& form : kStoredForms)
        graphs.push_back({form, ArchiveFile(output, form.suffix)});
    Print(Run(options, directory, &graphs), graphs);
}

void Annotate(const std::string& path) {
    const std::unique_ptr<kiv::FileMapping> mapping = ArchiveFile(path).Read();
    if (!mapping)
        throw Failure{ReadableText(path) + " cannot be read", "name a file that can be read"};
    switch (PrintAnnotated(BytesOf(*mapping))) {
        case StreamState::Whole:
            return;
        case StreamState::Damaged:
            throw Failure{ReadableText(path) + " is damaged",
                          "the lines tell how far it makes sense"};
        case StreamState::TooDeep:
            throw Failure{
                ReadableText(path) + " has more objects in each other than the stack holds",
                "raise its limit (ulimit -s)"};
        case StreamState::Foreign:
            throw Failure{ReadableText(path) + " is no binary catalogue",
                          "name a .kivbin file that catalogue has written"};
    }
}

int Main(int count, char** arguments) {
    const std::optional<Options> options = ParseOptions(count, arguments);
    if (!options)
        return 2;
    if (options->help) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    try {
        const std::string dataDirectory = kiv::paths::GetKIVEDataDirectory();
        if (!StartLog(dataDirectory, options->verbose))
            throw Failure{"there is no place for the log", "let HOME name a folder of yours"};
        if (options->annotate.empty())
            MakeCatalogue(*options, dataDirectory);
        else
            Annotate(options->annotate);
        return 0;
    } catch (const Failure& failure) {
        std::fprintf(stderr, "catalogue: %s; %s\n", failure.what.c_str(), failure.advice.c_str());
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "catalogue: %s; try another DIR or FILE\n", exception.what());
    }
    return 1;
}

}  // namespace
}  // namespace catalogue

int main(int count, char** arguments) {
    return catalogue::Main(count, arguments);
}
