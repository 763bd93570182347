#include <cerrno>
#include <cstdlib>

#include <sys/stat.h>

#include "kiv/base/file.h"
#include "platform/randomName.h"

namespace kiv {
namespace {

constexpr mode_t kNobodyElse = 0700;
// A name that is taken is next to impossible, unless the random bytes aren't random.
constexpr int kAttempts = 16;

std::string TemporaryFolder() {
    // Relative, it would mean another folder whenever the working directory changes. A program that
    // runs with more rights than its user doesn't listen to the user here.
    const char* const told = ::secure_getenv("TMPDIR");
    return told != nullptr && *told == '/' ? told : "/tmp";
}

}  // namespace

std::string CreateTemporaryDirectory() {
    const std::string folder = TemporaryFolder();
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const std::string name = platform::RandomName();
        if (name.empty())
            break;
        std::string path = folder.back() == '/' ? folder + name : folder + '/' + name;
        // Fails for what is there already, also for a link that somebody laid out.
        if (::mkdir(path.c_str(), kNobodyElse) == 0)
            return path;
        if (errno != EEXIST)
            break;
    }
    return std::string();
}

}  // namespace kiv
