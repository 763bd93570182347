// The catalogue on a tree with all that a file system can have in store, and the comparison that
// its verdict rests on.

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <sys/stat.h>
#include <unistd.h>

#include "catalogue/catalogueTypes.h"
#include "catalogue/fileContents.h"
#include "catalogue/graphCompare.h"
#include "catalogue/graphOwner.h"
#include "catalogue/treeWalk.h"

namespace catalogue {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;

std::string ReadFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

struct Outcome {
    int code;
    std::string errors;
    std::string lastLine;
    std::map<std::string, std::vector<std::string>> table;  // the words of a row by the first one
    std::size_t objectLines;                                // of an annotated stream
};

class CatalogueTest : public testing::Test {
protected:
    CatalogueTest() {
        std::string name = (fs::temp_directory_path() / "catalogue_test.XXXXXX").string();
        work_ = ::mkdtemp(name.data());
        fs::create_directory(tree());
    }
    ~CatalogueTest() override {
        std::error_code ignored;
        fs::permissions(tree() / "locked", fs::perms::owner_all, ignored);
        fs::remove_all(work_, ignored);
    }

    fs::path tree() const { return work_ / "tree"; }
    fs::path data() const { return work_ / "data"; }
    fs::path output() const { return tree() / "catalogue.json"; }
    fs::path binary() const { return tree() / "catalogue.kivbin"; }

    void WriteFile(const fs::path& name, const std::string& bytes) const {
        fs::create_directories((tree() / name).parent_path());
        std::ofstream(tree() / name, std::ios::binary) << bytes;
    }

    Outcome RunCatalogue(const std::string& arguments, const std::string& before = "") const {
        const fs::path out = work_ / "out";
        const fs::path err = work_ / "err";
        const int status =
            std::system((before + " XDG_DATA_HOME=" + data().string() + " " CATALOGUE_PROGRAM " " +
                         arguments + " >" + out.string() + " 2>" + err.string())
                            .c_str());
        Outcome outcome{WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(err), "", {}, 0};
        std::istringstream lines(ReadFile(out));
        for (std::string line; std::getline(lines, line); outcome.lastLine = line) {
            std::istringstream words(line);
            const std::vector<std::string> row{std::istream_iterator<std::string>(words), {}};
            if (row.size() > 1)
                outcome.table[row.front()] = row;
            outcome.objectLines += line.find(": object 0x") != std::string::npos;
        }
        return outcome;
    }

    /// The graph of the tree, as the program makes it.
    kiv::RefPtr<Folder> MakeGraph() const {
        Progress progress;
        const Tree listed = WalkTree(tree().string(), {}, progress);
        ReadContents(listed.files, progress);
        return listed.root;
    }

    fs::path work_;
};

MATCHER(IsOneLine, "") {
    return arg.size() > 1 && arg.find('\n') == arg.size() - 1;
}

TEST_F(CatalogueTest, AnyTreeIsListedSavedReadBackAndEqual) {
    WriteFile("first.txt", "same bytes");
    WriteFile("deep/er/second.txt", "same bytes");
    WriteFile("third.txt", "SAME BYTES");
    WriteFile("caf\xE9 \"\\\x1B.txt", std::string("zero\0byte", 9));
    WriteFile("locked/inside", "");
    fs::create_directory(tree() / "empty");
    fs::create_directory_symlink(tree(), tree() / "empty" / "loop");
    fs::create_symlink("nowhere", tree() / "dangling");
    ASSERT_EQ(::mkfifo((tree() / "pipe").c_str(), 0600), 0);
    WriteFile("huge", "");
    fs::resize_file(tree() / "huge", std::uintmax_t{1} << 36);
    WriteFile("secret", "secret");
    fs::permissions(tree() / "secret", fs::perms::none);
    fs::permissions(tree() / "locked", fs::perms::none);
    const bool isRoot = ::geteuid() == 0;
    // What lies here already must not be taken for a part of the tree.
    WriteFile("catalogue.json", "from another run");
    WriteFile("catalogue.kivbin", "from another run");

    const Outcome outcome =
        RunCatalogue("--show --output " + output().string() + " " + tree().string());

    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.errors, "");
    // Folders: the root, deep, er, empty, locked. Beside the files two links and a pipe. One
    // content less than files that can be read, as two of them are equal.
    EXPECT_EQ(outcome.table.at("objects").back(), isRoot ? "21" : "18");
    EXPECT_EQ(outcome.table.at("files").back(), isRoot ? "7" : "6");
    EXPECT_EQ(outcome.table.at("could").back(), isRoot ? "0" : "2");
    EXPECT_THAT(outcome.table.at("bytes"),
                ElementsAre("bytes", "written", std::to_string(fs::file_size(output())),
                            std::to_string(fs::file_size(binary()))));
    EXPECT_EQ(outcome.table.at("JSON").back(), fs::canonical(output()).string());
    EXPECT_EQ(outcome.table.at("binary").back(), fs::canonical(binary()).string());

    const std::string document = ReadFile(output());
    rapidjson::Document parsed;
    EXPECT_FALSE(
        parsed.Parse<rapidjson::kParseValidateEncodingFlag>(document.c_str()).HasParseError());
    EXPECT_NE(document.find(R"("caf\\xe9 \"\\\\\\x1b.txt")"), std::string::npos);

    rapidjson::Document shown;
    shown.Parse(outcome.lastLine.c_str());
    ASSERT_TRUE(shown.IsObject());
    EXPECT_TRUE(shown.HasMember("content"));
    EXPECT_FALSE(shown.HasMember("path"));
}

TEST_F(CatalogueTest, LogOfTheDayIsKeptAndShownToWhoWantsToSeeIt) {
    WriteFile("only.txt", "");
    const fs::path folder = data() / "Morvenda" / "KIVE";

    EXPECT_EQ(RunCatalogue(tree().string()).errors, "");
    const std::string shown = RunCatalogue("--verbose " + tree().string()).errors;

    const std::string said = "Run: " + tree().string() + " has 1 files\n";
    EXPECT_EQ(shown.substr(0, said.size()), said);
    EXPECT_TRUE(fs::is_regular_file(folder / "catalogue.json"));
    EXPECT_TRUE(fs::is_regular_file(folder / "catalogue.kivbin"));
    const std::vector<fs::path> logs{fs::directory_iterator(folder / "logs"), {}};
    ASSERT_EQ(logs.size(), 1u);
    const std::string line =
        "[info] [domain:catalogue][tag:Run]" + tree().string() + " has 1 files\n";
    const std::string log = ReadFile(logs[0]);
    EXPECT_NE(log.find(line), std::string::npos);
    EXPECT_NE(log.find(line), log.rfind(line));
}

TEST_F(CatalogueTest, WhatCannotBeDoneEndsInOneLine) {
    struct Case {
        const char* name;
        std::string arguments;
        std::string before;
        int code;
        const char* says;
    };
    fs::path deep = tree();
    for (int i = 0; i < 800; ++i)
        fs::create_directory(deep /= "d");
    const std::string directory = tree().string();
    const Case cases[] = {
        {"no such directory", directory + "/missing", "", 1, "cannot be listed"},
        {"a file", CATALOGUE_PROGRAM, "", 1, "cannot be listed"},
        {"no room on the disk", "--output /dev/full " + directory, "", 1, "--output FILE"},
        {"a folder in the way", "--output " + directory + "/d " + directory, "", 1,
         "--output FILE"},
        {"no folder for the output", "--output /missing/a " + directory, "", 1, "--output FILE"},
        {"too deep for the stack", directory, "ulimit -s 512;", 1, "ulimit -s"},
        {"unknown option", "--shown", "", 2, "--help"},
        {"two directories", directory + " " + directory, "", 2, "--help"},
        {"no file behind the option", "--output", "", 2, "--help"},
        {"both forms in one file", "--output a.kivbin", "", 2, "another suffix"},
        {"nothing to show and make at once", "--annotate a " + directory, "", 2, "--help"},
        {"nothing to show", "--annotate " + directory + "/missing", "", 1, "cannot be read"},
        {"a folder to show", "--annotate " + directory, "", 1, "cannot be read"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Outcome outcome = RunCatalogue(c.arguments, c.before);
        EXPECT_EQ(outcome.code, c.code);
        EXPECT_THAT(outcome.errors, IsOneLine());
        EXPECT_THAT(outcome.errors, testing::HasSubstr(c.says));
        EXPECT_THAT(outcome.table, testing::IsEmpty());
    }
}

TEST_F(CatalogueTest, BinaryFileIsShownAsFarAsItMakesSense) {
    WriteFile("first.txt", "same bytes");
    WriteFile("deep/second.txt", "same bytes");
    const std::string directory = tree().string();
    ASSERT_EQ(RunCatalogue("--output " + output().string() + " " + directory).code, 0);
    const std::string whole = ReadFile(binary());

    struct Case {
        const char* name;
        std::string bytes;
        std::size_t objects;
        const char* says;
    };
    std::string unknownType = whole;
    unknownType[13] = 'f';
    const Case cases[] = {
        {"whole", whole, 5, ""},
        {"without its last byte", whole.substr(0, whole.size() - 1), 5, "is damaged"},
        {"half", whole.substr(0, whole.size() / 2), 3, "is damaged"},
        {"with something behind it", whole + "\n", 5, "is damaged"},
        {"of another class", unknownType, 1, "no binary catalogue"},
        {"JSON", ReadFile(output()), 0, "no binary catalogue"},
        {"empty", "", 0, "no binary catalogue"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        WriteFile("shown", c.bytes);
        const Outcome outcome = RunCatalogue("--annotate " + directory + "/shown");
        const bool isWhole = *c.says == '\0';
        EXPECT_EQ(outcome.code, isWhole ? 0 : 1);
        EXPECT_EQ(outcome.table.at("offset").back(), "datum");
        EXPECT_EQ(outcome.objectLines, c.objects);
        if (isWhole)
            EXPECT_EQ(outcome.errors, "");
        else
            EXPECT_THAT(outcome.errors, testing::AllOf(IsOneLine(), testing::HasSubstr(c.says)));
    }
}

TEST_F(CatalogueTest, ComparisonFindsTheSmallestDifference) {
    WriteFile("a.txt", "same");
    WriteFile("b.txt", "same");
    WriteFile("c/d.txt", "other");
    struct Case {
        const char* difference;
        void (*alter)(Folder& root, Entry& entry);
    };
    const Case cases[] = {
        {"root.entries[0].name: two values", [](Folder&, Entry& e) { e.Rename("a.TXT"); }},
        {"root.entries[0].permissions: two values", [](Folder&, Entry& e) { e.permissions ^= 1; }},
        {"root.entries[0].modified: two values", [](Folder&, Entry& e) { ++e.modified; }},
        {"root.entries[0].readable: two values", [](Folder&, Entry& e) { e.readable = false; }},
        {"root.entries[0].folder: an object and none",
         [](Folder&, Entry& e) { e.folder = nullptr; }},
        {"root.entries[0].folder: objects that are shared in one graph only",
         [](Folder& f, Entry& e) { e.folder = f.folders[0]; }},
        {"root.entries[0].kind: two values", [](Folder&, Entry& e) { e.kind = FileKind::Device; }},
        {"root.entries[0].size: two values",
         [](Folder& f, Entry& e) { ++e.size, --f.entries[1]->size; }},
        {"root.entries[0].target: two values", [](Folder&, Entry& e) { e.target = "b"; }},
        {"root.entries[0].tint: two values", [](Folder&, Entry& e) { e.tint.b ^= 1; }},
        {"root.entries[0].place: two values", [](Folder&, Entry& e) { e.place.x = -0.0f; }},
        {"root.entries[0].place: two values",
         [](Folder&, Entry& e) { e.place.z = std::nextafter(e.place.z, 99.0f); }},
        {"root.entries[1].content: objects that are shared in one graph only",
         [](Folder&, Entry& e) { e.content = kiv::MakeRefCounted<Content>(); }},
        {"root.entries[0].content.copies: two values",
         [](Folder&, Entry& e) { ++e.content->copies; }},
        {"root.entries[0].content.entropy: two values",
         [](Folder&, Entry& e) { e.content->entropy = std::nextafter(e.content->entropy, 9.0); }},
        {"root.entries[0].content.head: two values",
         [](Folder&, Entry& e) { e.content->head.push_back(0); }},
        {"root.entries[0].content.lines: two values",
         [](Folder&, Entry& e) { e.content->lines[0] = "Same"; }},
        {"root.depth: two values", [](Folder& f, Entry&) { ++f.depth; }},
        {"root.folders: arrays of two lengths", [](Folder& f, Entry&) { f.folders.push_back({}); }},
        {"root.folders[0].entries: arrays of two lengths",
         [](Folder& f, Entry&) { f.folders[0]->entries.clear(); }},
        {"root.entryBytes: two values", [](Folder&, Entry& e) { ++e.size; }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.difference);
        const GraphOwner<Folder> left(MakeGraph());
        const GraphOwner<Folder> right(MakeGraph());
        ASSERT_EQ(CompareGraphs(*left.root(), *right.root()).difference, "");

        c.alter(*right.root(), *right.root()->entries[0]);

        EXPECT_EQ(CompareGraphs(*left.root(), *right.root()).difference, c.difference);
    }
}

}  // namespace
}  // namespace catalogue
