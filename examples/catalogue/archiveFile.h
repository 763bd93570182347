// The file that an archive lies in: replaced as a whole and mapped to be read.
#ifndef CATALOGUE_ARCHIVE_FILE_H_
#define CATALOGUE_ARCHIVE_FILE_H_

#include <memory>
#include <string>
#include <vector>

#include "kiv/base/file.h"
#include "kiv/base/mapping.h"

namespace catalogue {

class ArchiveFile {
public:
    /// A `suffix` that isn't empty takes the place of the file's own.
    explicit ArchiveFile(const std::string& path, const char* suffix = "");

    /// Absolute.
    const std::string& path() const { return path_; }
    /// The folder of the file, not valid if it can't be opened, and the name in it.
    const kiv::UniqueFD& folder() const { return folder_; }
    const std::string& name() const { return name_; }

    /// Replaces the file; whoever has it open keeps what it was. False if it can't be written.
    bool Write(std::vector<unsigned char> bytes);
    /// What the file holds; null if it can't be read.
    std::unique_ptr<kiv::FileMapping> Read() const;

private:
    std::string path_;
    std::string name_;
    kiv::UniqueFD folder_;
};

}  // namespace catalogue

#endif  // CATALOGUE_ARCHIVE_FILE_H_
