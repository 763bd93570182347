// The file that an archive lies in: written once and read back, with the reason if that fails.
#ifndef CATALOGUE_ARCHIVE_FILE_H_
#define CATALOGUE_ARCHIVE_FILE_H_

#include <cstdio>
#include <filesystem>
#include <memory>
#include <vector>

namespace catalogue {

class ArchiveFile {
public:
    /// With an empty path, a file in the folder for temporary files. A `suffix` that isn't empty
    /// takes the place of the file's own.
    explicit ArchiveFile(const std::filesystem::path& path, const char* suffix = "");

    /// Absolute, and without links in its folder.
    const std::filesystem::path& path() const { return path_; }

    /// Replaces the file. False with `errno` for the reason.
    bool Write(const std::vector<unsigned char>& bytes);
    /// Reads what was written, also if another run has replaced the file since; what the file holds
    /// if nothing was. False with `errno` for the reason.
    bool Read(std::vector<unsigned char>* bytes);

private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    bool isTemporary_;
    std::filesystem::path path_;
    std::unique_ptr<std::FILE, Close> file_;
};

}  // namespace catalogue

#endif  // CATALOGUE_ARCHIVE_FILE_H_
