#include "catalogue/archiveFile.h"

#include <string_view>
#include <utility>

#include "kiv/base/paths.h"

namespace catalogue {
namespace {

std::string_view NameIn(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

std::string WithSuffix(std::string path, std::string_view suffix) {
    if (suffix.empty())
        return path;
    // A name that only begins with a dot has no suffix yet.
    const std::size_t dot = NameIn(path).rfind('.');
    if (dot != std::string_view::npos && dot != 0)
        path.resize(path.size() - NameIn(path).size() + dot);
    return path.append(suffix);
}

}  // namespace

ArchiveFile::ArchiveFile(const std::string& path, const char* suffix)
    : path_(WithSuffix(kiv::paths::AbsolutePath(path), suffix)),
      name_(NameIn(path_)),
      folder_(kiv::OpenDirectory(kiv::paths::GetDirectoryName(path_).c_str(), false,
                                 kiv::FilePermission::Read)) {}

bool ArchiveFile::Write(std::vector<unsigned char> bytes) {
    return folder_.is_valid() && !name_.empty() &&
           kiv::ReplaceFile(folder_, name_.c_str(), kiv::DataMapping(std::move(bytes)));
}

std::unique_ptr<kiv::FileMapping> ArchiveFile::Read() const {
    if (!folder_.is_valid() || name_.empty())
        return nullptr;
    return kiv::FileMapping::CreateReadOnly(folder_, name_);
}

}  // namespace catalogue
