// What the command line asks for.
#ifndef CATALOGUE_OPTIONS_H_
#define CATALOGUE_OPTIONS_H_

#include <optional>
#include <string>

namespace catalogue {

struct Options {
    std::string directory = ".";
    std::string output;    // empty for files in the data directory
    std::string annotate;  // the file to show; empty to make a catalogue
    bool show = false;
    bool verbose = false;
    bool help = false;
};

extern const char kUsage[];

/// Nothing if the command line cannot be understood; the reason is on the error output then.
std::optional<Options> ParseOptions(int count, char** arguments);

}  // namespace catalogue

#endif  // CATALOGUE_OPTIONS_H_
