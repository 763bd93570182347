#include "catalogue/archiveFile.h"

#include <cstddef>
#include <system_error>

namespace catalogue {
namespace {

namespace fs = std::filesystem;

constexpr char kTemporaryName[] = "kivbase-catalogue.json";

}  // namespace

ArchiveFile::ArchiveFile(const fs::path& path, const char* suffix)
    : isTemporary_(path.empty()),
      path_(fs::absolute(isTemporary_ ? fs::temp_directory_path() / kTemporaryName : path)) {
    path_ = fs::weakly_canonical(path_.parent_path()) / path_.filename();
    if (*suffix != '\0')
        path_.replace_extension(suffix);
}

bool ArchiveFile::Write(const std::vector<unsigned char>& bytes) {
    // In a folder that everybody writes to, something may wait under the known name: it is removed
    // and never followed or written to.
    if (isTemporary_) {
        std::error_code ignored;
        fs::remove(path_, ignored);
    }
    file_.reset(std::fopen(path_.c_str(), isTemporary_ ? "w+bx" : "w+b"));
    return file_ && std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) == bytes.size() &&
           std::fflush(file_.get()) == 0;
}

bool ArchiveFile::Read(std::vector<unsigned char>* bytes) {
    if (!file_)
        file_.reset(std::fopen(path_.c_str(), "rb"));
    std::FILE* const file = file_.get();
    if (!file || std::fseek(file, 0, SEEK_SET) != 0)
        return false;
    // A folder opens like a file and has a size; only a read tells.
    if (std::fgetc(file) == EOF && std::ferror(file))
        return false;
    if (std::fseek(file, 0, SEEK_END) != 0)
        return false;
    const long size = std::ftell(file);
    if (size < 0 || std::fseek(file, 0, SEEK_SET) != 0)
        return false;
    bytes->resize(static_cast<std::size_t>(size));
    return std::fread(bytes->data(), 1, bytes->size(), file) == bytes->size();
}

}  // namespace catalogue
