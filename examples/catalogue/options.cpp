#include "catalogue/options.h"

#include <cstdio>
#include <string_view>

#include "catalogue/storedForm.h"

namespace catalogue {

const char kUsage[] =
    "usage: catalogue [--verbose] [--show] [--output FILE] [DIR]\n"
    "       catalogue [--verbose] --annotate FILE\n"
    "\n"
    "Turns the tree below DIR, by default the current directory, into a graph of objects,\n"
    "saves it in two forms, as JSON and binary, reads both back and compares each with the\n"
    "first graph.\n"
    "\n"
    "  --output FILE    where the JSON goes, in place of the user's data directory; the binary\n"
    "                   form goes beside it, with the suffix .kivbin\n"
    "  --show           prints one entry as well, as the last line, for people to read\n"
    "  --annotate FILE  prints what stands where in such a .kivbin file, a line for each datum\n"
    "  --verbose        shows what goes into the log as well, on the error output\n"
    "  --help           prints this\n"
    "\n"
    "Each run adds to the log of its day, in the folder logs of the user's data directory; logs "
    "of\n"
    "the last week are kept.\n"
    "\n"
    "Ends with 0 if all graphs are equal, or if the file shown is a whole catalogue; with 1 if\n"
    "not, or if something fails; and with 2 for a command line that it does not understand.\n";

std::optional<Options> ParseOptions(int count, char** arguments) {
    const auto refuse = [](const char* what, std::string_view argument) {
        std::fprintf(stderr, "catalogue: %s %.*s; see catalogue --help\n", what,
                     static_cast<int>(argument.size()), argument.data());
        return std::nullopt;
    };

    Options options;
    const auto fileOf = [&](std::string_view option) -> std::string* {
        if (option == "--output")
            return &options.output;
        return option == "--annotate" ? &options.annotate : nullptr;
    };
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
        } else if (argument == "--verbose") {
            options.verbose = true;
        } else if (argument == "--help" || argument == "-h") {
            options.help = true;
        } else if (std::string* const file = fileOf(argument)) {
            if (++i == count || *arguments[i] == '\0')
                return refuse("a file name is missing behind", argument);
            *file = arguments[i];
        } else {
            return refuse("there is no option", argument);
        }
    }
    if (!options.annotate.empty() && (hasDirectory || options.show || !options.output.empty()))
        return refuse("no catalogue is made, so nothing goes together with", "--annotate");
    for (const StoredForm& form : kStoredForms)
        if (*form.suffix != '\0' && options.output.ends_with(form.suffix))
            return refuse("the JSON needs a file with another suffix than", form.suffix);
    return options;
}

}  // namespace catalogue
