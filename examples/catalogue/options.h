// What the command line asks for.
#ifndef CATALOGUE_OPTIONS_H_
#define CATALOGUE_OPTIONS_H_

#include <filesystem>
#include <optional>

namespace catalogue {

struct Options {
    std::filesystem::path directory = ".";
    std::filesystem::path output;    // empty for files in the folder for temporary files
    std::filesystem::path annotate;  // the file to show; empty to make a catalogue
    bool show = false;
    bool help = false;
};

extern const char kUsage[];

/// Nothing if the command line cannot be understood; the reason is on the error output then.
std::optional<Options> ParseOptions(int count, char** arguments);

}  // namespace catalogue

#endif  // CATALOGUE_OPTIONS_H_
