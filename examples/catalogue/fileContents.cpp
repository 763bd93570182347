#include "catalogue/fileContents.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "catalogue/catalogueLog.h"
#include "catalogue/readableText.h"
#include "kiv/base/mapping.h"

namespace catalogue {
namespace {

constexpr std::size_t kBeginningBytes = 64 * 1024;
constexpr std::size_t kHeadBytes = 16;
constexpr std::size_t kLines = 3;
constexpr std::size_t kLineBytes = 80;

/// A file for as long as its bytes are looked at.
class MappedFile {
public:
    explicit MappedFile(const Entry& entry)
        : mapping_(kiv::FileMapping::CreateReadOnly(entry.path)) {}

    bool is_valid() const { return mapping_ != nullptr; }
    std::string_view bytes() const {
        return {reinterpret_cast<const char*>(mapping_->GetMapping()),
                static_cast<std::size_t>(mapping_->GetSize())};
    }

private:
    std::unique_ptr<kiv::FileMapping> mapping_;
};

/// FNV-1a: it only finds what may be equal, so a collision costs time and nothing else.
struct Hash {
    kiv::uint64 value = 0xcbf29ce484222325;

    void Add(std::string_view bytes) {
        for (const char byte : bytes)
            value = (value ^ static_cast<unsigned char>(byte)) * 0x100000001b3;
    }
};

double EntropyOf(std::string_view bytes) {
    std::array<std::size_t, 256> counts{};
    for (const char byte : bytes)
        ++counts[static_cast<unsigned char>(byte)];
    double bits = 0;
    for (const std::size_t count : counts) {
        if (count == 0)
            continue;
        const double share = static_cast<double>(count) / static_cast<double>(bytes.size());
        bits -= share * std::log2(share);
    }
    return bits;
}

/// Cuts the text after at most so many bytes, between two characters. Empty if it is no text.
std::string_view TextOf(std::string_view bytes, std::size_t longest) {
    std::size_t end = 0;
    while (end < bytes.size()) {
        const std::size_t length = Utf8Length(bytes.substr(end));
        if (length == 0 || bytes[end] == '\0')
            return {};
        if (end + length > longest)
            break;
        end += length;
    }
    return bytes.substr(0, end);
}

kiv::RefPtr<Content> Describe(std::string_view beginning) {
    kiv::RefPtr<Content> content = kiv::MakeRefCounted<Content>();
    content->entropy = EntropyOf(beginning);
    const std::string_view head = beginning.substr(0, kHeadBytes);
    content->head.assign(head.begin(), head.end());
    while (!beginning.empty() && content->lines.size() < kLines) {
        const std::size_t end = std::min(beginning.find('\n'), beginning.size());
        const std::string_view line = beginning.substr(0, end);
        const std::string_view text = TextOf(line, kLineBytes);
        if (text.empty() && !line.empty())
            break;
        content->lines.emplace_back(std::string(text));
        beginning.remove_prefix(std::min(end + 1, beginning.size()));
    }
    return content;
}

class ContentReader {
public:
    explicit ContentReader(const std::vector<kiv::RefPtr<Entry>>& files) {
        for (const kiv::RefPtr<Entry>& file : files)
            ++filesOfSize_[file->size];
    }

    bool Read(const kiv::RefPtr<Entry>& file) {
        const MappedFile mapped(*file);
        if (!mapped.is_valid())
            return false;
        Hash hash;
        if (filesOfSize_[file->size] > 1)
            hash.Add(mapped.bytes());

        std::vector<Entry*>& alike = known_[{file->size, hash.value}];
        const auto twin = std::find_if(alike.begin(), alike.end(), [&](const Entry* other) {
            const MappedFile known(*other);
            return known.is_valid() && known.bytes() == mapped.bytes();
        });
        if (twin != alike.end()) {
            file->content = (*twin)->content;
        } else {
            file->content = Describe(mapped.bytes().substr(0, kBeginningBytes));
            alike.push_back(file.get());
        }
        ++file->content->copies;
        return true;
    }

private:
    std::unordered_map<kiv::uint64, kiv::uint64> filesOfSize_;
    std::map<std::pair<kiv::uint64, kiv::uint64>, std::vector<Entry*>> known_;  // by size and hash
};

}  // namespace

kiv::uint64 ReadContents(const std::vector<kiv::RefPtr<Entry>>& files, Progress& progress) {
    ContentReader reader(files);
    kiv::uint64 done = 0;
    kiv::uint64 unread = 0;
    for (const kiv::RefPtr<Entry>& file : files) {
        progress.Count("Read", done++);
        if (!reader.Read(file)) {
            file->readable = false;
            ++unread;
            catalogueLog.log(kiv::LogLevel::Warn, "ReadContents", "%s cannot be read",
                             ReadableText(file->path).c_str());
        }
    }
    return unread;
}

}  // namespace catalogue
