#include "catalogue/jsonFile.h"

#include <system_error>

namespace catalogue {
namespace {

namespace fs = std::filesystem;

constexpr char kTemporaryName[] = "kivbase-catalogue.json";

}  // namespace

JsonFile::JsonFile(const fs::path& path)
    : isTemporary_(path.empty()),
      path_(fs::absolute(isTemporary_ ? fs::temp_directory_path() / kTemporaryName : path)) {
    path_ = fs::weakly_canonical(path_.parent_path()) / path_.filename();
}

bool JsonFile::Write(const std::string& text) {
    // In a folder that everybody writes to, something may wait under the known name: it is removed
    // and never followed or written to.
    if (isTemporary_) {
        std::error_code ignored;
        fs::remove(path_, ignored);
    }
    file_.reset(std::fopen(path_.c_str(), isTemporary_ ? "w+bx" : "w+b"));
    return file_ && std::fwrite(text.data(), 1, text.size(), file_.get()) == text.size() &&
           std::fflush(file_.get()) == 0;
}

bool JsonFile::Read(std::string* text) {
    if (std::fseek(file_.get(), 0, SEEK_END) != 0)
        return false;
    const long size = std::ftell(file_.get());
    if (size < 0 || std::fseek(file_.get(), 0, SEEK_SET) != 0)
        return false;
    text->resize(static_cast<std::size_t>(size));
    return std::fread(text->data(), 1, text->size(), file_.get()) == text->size();
}

}  // namespace catalogue
