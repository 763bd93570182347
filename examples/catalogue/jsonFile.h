// The file that the archive lies in: written once and read back, with the reason if that fails.
#ifndef CATALOGUE_JSON_FILE_H_
#define CATALOGUE_JSON_FILE_H_

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

namespace catalogue {

class JsonFile {
public:
    /// With an empty path, a file in the folder for temporary files.
    explicit JsonFile(const std::filesystem::path& path);

    /// Absolute, and without links in its folder.
    const std::filesystem::path& path() const { return path_; }

    /// Replaces the file. False with `errno` for the reason.
    bool Write(const std::string& text);
    /// Reads what was written, also if another run has replaced the file since. False with `errno`
    /// for the reason.
    bool Read(std::string* text);

private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    bool isTemporary_;
    std::filesystem::path path_;
    std::unique_ptr<std::FILE, Close> file_;
};

}  // namespace catalogue

#endif  // CATALOGUE_JSON_FILE_H_
