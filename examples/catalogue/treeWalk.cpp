#include "catalogue/treeWalk.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "catalogue/catalogueLog.h"
#include "catalogue/readableText.h"
#include "kiv/base/file.h"
#include "kiv/base/paths.h"

namespace catalogue {
namespace {

FileKind KindOf(mode_t mode) {
    switch (mode & S_IFMT) {
        case S_IFREG:
            return FileKind::Regular;
        case S_IFLNK:
            return FileKind::Link;
        case S_IFIFO:
            return FileKind::Pipe;
        case S_IFSOCK:
            return FileKind::Socket;
        case S_IFBLK:
        case S_IFCHR:
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

/// What the system tells of a name; a mode of 0 if it tells nothing.
struct ::stat StatusOf(const kiv::UniqueFD& directory, const char* name, int flags) {
    struct ::stat status = {};
    if (::fstatat(directory.get(), name, &status, flags) != 0)
        status = {};
    return status;
}

bool AreSameFolder(const struct ::stat& a, const struct ::stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

/// What a link holds; empty if that can't be told.
std::string TargetOf(const kiv::UniqueFD& directory, const char* name) {
    char target[PATH_MAX];
    const ssize_t length = ::readlinkat(directory.get(), name, target, sizeof(target));
    return std::string(target, static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
}

class Walker {
public:
    Walker(const std::vector<const ArchiveFile*>& except, Progress& progress)
        : progress_(progress) {
        for (const ArchiveFile* file : except)
            if (file->folder().is_valid())
                except_.push_back({StatusOf(file->folder(), "", AT_EMPTY_PATH), file->name()});
    }

    Tree Walk(const std::string& directory) {
        const std::string name = directory.substr(directory.rfind('/') + 1);
        const kiv::UniqueFD opened =
            kiv::OpenDirectory(directory.c_str(), false, kiv::FilePermission::Read);
        tree_.root = _MakeFolder(directory, name.empty() ? directory : name,
                                 StatusOf(opened, "", AT_EMPTY_PATH));
        // A list of what is still to do and no recursion: a tree may be deeper than the stack.
        while (!waiting_.empty()) {
            const kiv::RefPtr<Folder> folder = waiting_.back();
            waiting_.pop_back();
            _ListFolder(folder);
        }
        return std::move(tree_);
    }

private:
    struct Exception {
        struct ::stat folder;
        std::string name;
    };

    void _ListFolder(const kiv::RefPtr<Folder>& folder) {
        const kiv::UniqueFD directory =
            kiv::OpenDirectory(folder->path.c_str(), false, kiv::FilePermission::Read);
        if (!directory.is_valid())
            return _SetUnreadable(*folder);
        const struct ::stat status = StatusOf(directory, "", AT_EMPTY_PATH);
        std::vector<std::string> names;
        kiv::VisitFiles(directory, [&](const kiv::UniqueFD&, const std::string& name) {
            if (!_IsExcepted(status, name))
                names.push_back(name);
            return true;
        });
        std::sort(names.begin(), names.end());
        for (const std::string& name : names)
            _Add(folder, directory, name);
    }

    bool _IsExcepted(const struct ::stat& folder, const std::string& name) const {
        return std::any_of(except_.begin(), except_.end(), [&](const Exception& exception) {
            return exception.name == name && AreSameFolder(exception.folder, folder);
        });
    }

    void _Add(const kiv::RefPtr<Folder>& parent, const kiv::UniqueFD& directory,
              const std::string& name) {
        progress_.Count("Listed", ++listed_);
        const struct ::stat status = StatusOf(directory, name.c_str(), AT_SYMLINK_NOFOLLOW);
        const std::string path = kiv::paths::JoinPaths({parent->path, name});
        if (S_ISDIR(status.st_mode)) {
            kiv::RefPtr<Folder> folder = _MakeFolder(path, name, status);
            folder->folder = parent;
            folder->depth = parent->depth + 1;
            parent->folders.push_back(folder);
            return;
        }

        kiv::RefPtr<Entry> entry = kiv::MakeRefCounted<Entry>();
        _Describe(*entry, path, name, status);
        entry->folder = parent;
        entry->kind = KindOf(status.st_mode);
        entry->tint = TintOf(entry->permissions);
        if (entry->kind == FileKind::Link)
            entry->target = ReadableText(TargetOf(directory, name.c_str()));
        if (entry->kind == FileKind::Regular)
            entry->size = static_cast<kiv::uint64>(status.st_size);
        entry->place = {static_cast<float>(parent->entries.size()),
                        static_cast<float>(parent->depth),
                        std::log2(1 + static_cast<float>(entry->size))};
        if (entry->kind == FileKind::Unknown)
            _SetUnreadable(*entry);
        else if (entry->kind == FileKind::Regular)
            tree_.files.push_back(entry);
        parent->entries.push_back(entry);
    }

    kiv::RefPtr<Folder> _MakeFolder(const std::string& path, const std::string& name,
                                    const struct ::stat& status) {
        kiv::RefPtr<Folder> folder = kiv::MakeRefCounted<Folder>();
        _Describe(*folder, path, name, status);
        waiting_.push_back(folder);
        return folder;
    }

    static void _Describe(Node& node, const std::string& path, const std::string& name,
                          const struct ::stat& status) {
        node.Rename(ReadableText(name));
        node.path = path;
        node.permissions = static_cast<kiv::int32>(status.st_mode & 0777);
        node.modified = kiv::int64{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec;
    }

    void _SetUnreadable(Node& node) {
        node.readable = false;
        ++tree_.unread;
        catalogueLog.log(kiv::LogLevel::Warn, "WalkTree", "%s cannot be looked at",
                         ReadableText(node.path).c_str());
    }

    std::vector<Exception> except_;
    Progress& progress_;
    Tree tree_;
    std::vector<kiv::RefPtr<Folder>> waiting_;
    kiv::uint64 listed_ = 0;
};

}  // namespace

Tree WalkTree(const std::string& directory, const std::vector<const ArchiveFile*>& except,
              Progress& progress) {
    return Walker(except, progress).Walk(directory);
}

}  // namespace catalogue
