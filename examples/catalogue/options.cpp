#include "catalogue/options.h"

#include <cstdio>
#include <string_view>

namespace catalogue {

const char kUsage[] =
    "usage: catalogue [--show] [--output FILE] [DIR]\n"
    "\n"
    "Turns the tree below DIR, by default the current directory, into a graph of objects, saves "
    "it\n"
    "as JSON, reads it back and compares the two graphs.\n"
    "\n"
    "  --output FILE  where the JSON goes, in place of the folder for temporary files\n"
    "  --show         prints one entry as well, as the last line, for people to read\n"
    "  --help         prints this\n"
    "\n"
    "Ends with 0 if the graphs are equal, with 1 if they differ or something fails, and with 2 "
    "for\n"
    "a command line that it does not understand.\n";

std::optional<Options> ParseOptions(int count, char** arguments) {
    const auto refuse = [](const char* what, std::string_view argument) {
        std::fprintf(stderr, "catalogue: %s %.*s; see catalogue --help\n", what,
                     static_cast<int>(argument.size()), argument.data());
        return std::nullopt;
    };

    Options options;
    bool hasDirectory = false;
    bool optionsEnded = false;
    for (int i = 1; i < count; ++i) {
        const std::string_view argument = arguments[i];
        if (optionsEnded || argument.empty() || argument[0] != '-') {
            if (hasDirectory)
                return refuse("one directory is enough, and this is another one:", argument);
            options.directory = argument;
            hasDirectory = true;
        } else if (argument == "--") {
            optionsEnded = true;
        } else if (argument == "--show") {
            options.show = true;
        } else if (argument == "--help" || argument == "-h") {
            options.help = true;
        } else if (argument == "--output") {
            if (++i == count || *arguments[i] == '\0')
                return refuse("a file name is missing behind", argument);
            options.output = arguments[i];
        } else {
            return refuse("there is no option", argument);
        }
    }
    return options;
}

}  // namespace catalogue
