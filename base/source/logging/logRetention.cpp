#include <algorithm>
#include <chrono>
#include <ctime>
#include <iostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "kiv/base/file.h"
#include "kiv/base/logFiles.h"
#include "kiv/base/logSetup.h"
#include "kiv/base/paths.h"
#include "logging/logClock.h"

namespace kiv::logging {
namespace {

// The date so many days ago, in the form of the files' names. Dates in that form stand in the order
// of their texts; a year before the first, which has a sign, stands before all of them.
std::string cutOff(int keepDays) {
    constexpr std::time_t kDay = 86400;
    const std::time_t now = std::chrono::system_clock::to_time_t(internal::Now());
    const std::tm day = internal::LocalTime(now - std::max(keepDays, 0) * kDay);
    return fmt::format("{:04}-{:02}-{:02}", day.tm_year + 1900, day.tm_mon + 1, day.tm_mday);
}

}  // namespace

bool extractDate(const std::string& fileName, std::string& date) {
    constexpr std::string_view kPattern = "dddd-dd-dd.log";  // with "d" for a digit
    if (fileName.size() < kPattern.size())
        return false;
    const std::string_view end =
        std::string_view(fileName).substr(fileName.size() - kPattern.size());
    const bool matches = std::equal(
        end.begin(), end.end(), kPattern.begin(),
        [](char c, char wanted) { return wanted == 'd' ? c >= '0' && c <= '9' : c == wanted; });
    if (matches)
        date = end.substr(0, end.size() - std::string_view(".log").size());
    return matches;
}

void cleanupOldFiles(const std::string& directory, int keepDays) {
    const std::string target = paths::AbsolutePath(directory);
    const UniqueFD folder = OpenDirectory(target.c_str(), false, FilePermission::Read);
    if (!folder.is_valid()) {
        std::cerr << "Error: Could not open directory " << target << std::endl;
        return;
    }

    std::vector<std::pair<std::string, std::string>> found;  // date and name
    VisitFiles(folder, [&found](const UniqueFD&, const std::string& name) {
        std::string date;
        if (name.starts_with(LOG_FILE_BASENAME) && extractDate(name, date))
            found.emplace_back(std::move(date), name);
        return true;
    });
    std::sort(found.begin(), found.end());

    const std::string open = fileSink ? fileSink->filename() : std::string();
    const std::string firstToStay = cutOff(keepDays);
    for (const auto& [date, name] : found) {
        if (date >= firstToStay)
            break;
        // Known by its name alone: one of the same name elsewhere stays a little longer.
        if (open.ends_with(paths::Utf8PathToLocal(name)))
            continue;
        if (!UnlinkFile(folder, name.c_str()))
            std::cerr << "Error: Could not delete file: " << paths::JoinPaths({target, name})
                      << "\n";
    }
}

}  // namespace kiv::logging
