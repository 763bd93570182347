#include "catalogue/fileContents.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "catalogue/readableText.h"

namespace catalogue {
namespace {

constexpr std::size_t kPieceBytes = 64 * 1024;
constexpr std::size_t kHeadBytes = 16;
constexpr std::size_t kLines = 3;
constexpr std::size_t kLineBytes = 80;

/// The bytes of a file in pieces, up to the size that was listed: a file may grow meanwhile, and
/// some system files never end.
class FilePieces {
public:
    explicit FilePieces(const Entry& entry)
        : left_(entry.size), file_(entry.path, std::ios::binary) {}

    /// The next piece, which is empty at the end.
    std::string_view Next() {
        buffer_.resize(std::min<kiv::uint64>(left_, kPieceBytes));
        file_.read(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
        buffer_.resize(static_cast<std::size_t>(file_.gcount()));
        left_ -= buffer_.size();
        return buffer_;
    }
    /// The file could not be opened, or the system failed to read it.
    bool Failed() const { return !file_.is_open() || file_.bad(); }

private:
    kiv::uint64 left_;
    std::ifstream file_;
    std::string buffer_;
};

bool HaveSameBytes(const Entry& a, const Entry& b) {
    FilePieces left(a);
    FilePieces right(b);
    std::string_view piece;
    do {
        piece = left.Next();
        if (piece != right.Next())
            return false;
    } while (!piece.empty());
    return !left.Failed() && !right.Failed();
}

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
        FilePieces pieces(*file);
        const std::string beginning(pieces.Next());
        const bool mayHaveTwin = filesOfSize_[file->size] > 1;
        Hash hash;
        if (mayHaveTwin) {
            hash.Add(beginning);
            for (std::string_view piece = pieces.Next(); !piece.empty(); piece = pieces.Next())
                hash.Add(piece);
        }
        if (pieces.Failed())
            return false;

        std::vector<Entry*>& alike = known_[{file->size, hash.value}];
        const auto twin = std::find_if(alike.begin(), alike.end(), [&](const Entry* other) {
            return HaveSameBytes(*other, *file);
        });
        if (twin != alike.end()) {
            file->content = (*twin)->content;
        } else {
            file->content = Describe(beginning);
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
        }
    }
    return unread;
}

}  // namespace catalogue
