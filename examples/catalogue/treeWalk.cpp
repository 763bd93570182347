#include "catalogue/treeWalk.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <system_error>
#include <utility>

#include "catalogue/readableText.h"

namespace catalogue {
namespace {

namespace fs = std::filesystem;

FileKind KindOf(fs::file_type type) {
    switch (type) {
        case fs::file_type::regular:
            return FileKind::Regular;
        case fs::file_type::symlink:
            return FileKind::Link;
        case fs::file_type::fifo:
            return FileKind::Pipe;
        case fs::file_type::socket:
            return FileKind::Socket;
        case fs::file_type::block:
        case fs::file_type::character:
            return FileKind::Device;
        default:
            return FileKind::Unknown;
    }
}

kiv::Color TintOf(kiv::int32 permissions) {
    const auto shade = [&](int shift) {
        return static_cast<kiv::uint8>((permissions >> shift & 7) * 255 / 7);
    };
    kiv::Color tint;
    tint.r = shade(6);
    tint.g = shade(3);
    tint.b = shade(0);
    tint.a = 255;
    return tint;
}

kiv::int64 NanosecondsOf(fs::file_time_type time) {
    const auto sinceEpoch = std::chrono::file_clock::to_sys(time).time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(sinceEpoch).count();
}

class Walker {
public:
    Walker(const std::vector<fs::path>& except, Progress& progress)
        : except_(except), progress_(progress) {}

    Tree Walk(const fs::path& directory) {
        std::error_code error;
        fs::path name = directory.filename();
        if (name.empty())
            name = directory;
        tree_.root = _MakeFolder(directory, name, fs::symlink_status(directory, error));
        // A list of what is still to do and no recursion: a tree may be deeper than the stack.
        while (!waiting_.empty()) {
            const kiv::RefPtr<Folder> folder = waiting_.back();
            waiting_.pop_back();
            _ListFolder(folder);
        }
        return std::move(tree_);
    }

private:
    void _ListFolder(const kiv::RefPtr<Folder>& folder) {
        std::error_code error;
        std::vector<fs::directory_entry> found;
        for (fs::directory_iterator at(folder->path, error), end; !error && at != end;
             at.increment(error))
            found.push_back(*at);
        if (error)
            _SetUnreadable(*folder);
        std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) {
            return a.path().native() < b.path().native();
        });
        for (const fs::directory_entry& child : found)
            if (std::find(except_.begin(), except_.end(), child.path()) == except_.end())
                _Add(folder, child);
    }

    void _Add(const kiv::RefPtr<Folder>& parent, const fs::directory_entry& child) {
        progress_.Count("Listed", ++listed_);
        const fs::path& path = child.path();
        std::error_code error;
        const fs::file_status status = child.symlink_status(error);
        if (fs::is_directory(status)) {
            kiv::RefPtr<Folder> folder = _MakeFolder(path, path.filename(), status);
            folder->folder = parent;
            folder->depth = parent->depth + 1;
            parent->folders.push_back(folder);
            return;
        }

        kiv::RefPtr<Entry> entry = kiv::MakeRefCounted<Entry>();
        _Describe(*entry, path, path.filename(), status);
        entry->folder = parent;
        entry->kind = KindOf(status.type());
        entry->tint = TintOf(entry->permissions);
        if (entry->kind == FileKind::Link)
            entry->target = ReadableText(fs::read_symlink(path, error).string());
        if (entry->kind == FileKind::Regular)
            entry->size = _SizeOf(path, error);
        entry->place = {static_cast<float>(parent->entries.size()),
                        static_cast<float>(parent->depth),
                        std::log2(1 + static_cast<float>(entry->size))};
        if (error || entry->kind == FileKind::Unknown)
            _SetUnreadable(*entry);
        else if (entry->kind == FileKind::Regular)
            tree_.files.push_back(entry);
        parent->entries.push_back(entry);
    }

    kiv::RefPtr<Folder> _MakeFolder(const fs::path& path, const fs::path& name,
                                    fs::file_status status) {
        kiv::RefPtr<Folder> folder = kiv::MakeRefCounted<Folder>();
        _Describe(*folder, path, name, status);
        waiting_.push_back(folder);
        return folder;
    }

    static void _Describe(Node& node, const fs::path& path, const fs::path& name,
                          fs::file_status status) {
        node.Rename(ReadableText(name.string()));
        node.path = path.string();
        if (fs::exists(status))
            node.permissions = static_cast<kiv::int32>(status.permissions() & fs::perms::all);
        // The time of a link would be that of its target.
        if (!fs::exists(status) || fs::is_symlink(status))
            return;
        std::error_code error;
        const fs::file_time_type time = fs::last_write_time(path, error);
        if (!error)
            node.modified = NanosecondsOf(time);
    }

    static kiv::uint64 _SizeOf(const fs::path& path, std::error_code& error) {
        const std::uintmax_t size = fs::file_size(path, error);
        return error ? 0 : size;
    }

    void _SetUnreadable(Node& node) {
        node.readable = false;
        ++tree_.unread;
    }

    const std::vector<fs::path>& except_;
    Progress& progress_;
    Tree tree_;
    std::vector<kiv::RefPtr<Folder>> waiting_;
    kiv::uint64 listed_ = 0;
};

}  // namespace

Tree WalkTree(const fs::path& directory, const std::vector<fs::path>& except, Progress& progress) {
    return Walker(except, progress).Walk(directory);
}

}  // namespace catalogue
