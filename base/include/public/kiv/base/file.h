// Files and directories, by UTF-8 paths, most of them relative to an open directory.
//
//     const UniqueFD folder = OpenDirectory("/var/lib/app", true, FilePermission::Read);
//     const UniqueFD file = OpenFile(folder, "state.bin", true, FilePermission::ReadWrite);
//     if (!file.is_valid()) return false;
//     VisitFiles(folder, [](const UniqueFD& directory, const std::string& name) {
//         return UnlinkFile(directory, name.c_str());
//     });
//
// A `base` is a valid handle of a directory, and `path` is relative to it unless it is absolute;
// without a base, to the working directory. On Linux a path is bytes: a name that is not valid
// UTF-8 works like any other. To open and to inquire, the empty path below a base is the base
// itself; all else refuses it. Whatever is made has the permissions that the process's mask leaves.
//
// Every operation reports by its result, an invalid `UniqueFD`, false or an empty string, and logs
// nothing. Walking and removal also raise `std::bad_alloc` where memory runs out. All may be called
// from any thread: nothing is locked, and a walk sees what the system shows of changes that are
// made meanwhile. What is in a file is read through mapping.h, or by the system's own calls on the
// handle.
#ifndef KIV_BASE_FILE_H_
#define KIV_BASE_FILE_H_

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "kiv/base/export.h"
#include "kiv/base/integers.h"
#include "kiv/base/uniqueObject.h"

// The headers of one system make a macro of this name.
#ifdef CreateDirectory
#undef CreateDirectory
#endif

namespace kiv {

/// The system's own handle of an open file or directory: a descriptor on Linux, where 0 is a valid
/// one like any other.
using FileHandle = KIV_BASE_FILE_HANDLE;

namespace internal::KIV_BASE_SYSTEM {

struct DirCacheEntry {};

struct KIV_BASE_API UniqueFDTraits {
    /// All bits set.
    static FileHandle InvalidValue() { return (FileHandle)-1; }
    static bool IsValid(FileHandle handle) { return handle != InvalidValue(); }
    static void Free(FileHandle handle) {
        RemoveCacheEntry(handle);
        Free_Handle(handle);
    }
    /// Forgets what is cached of the directory `handle`, while the number is still its own.
    static void RemoveCacheEntry(FileHandle handle);
    static void Free_Handle(FileHandle handle);

    static std::map<FileHandle, DirCacheEntry> file_map;
    static std::mutex file_map_mutex;  // guards file_map
};

}  // namespace internal::KIV_BASE_SYSTEM

/// Owns a handle and closes it. Handles are not inherited by programs that the process starts.
using UniqueFD = UniqueObject<FileHandle, internal::KIV_BASE_SYSTEM::UniqueFDTraits>;

/// The access of a new handle. Other values count as `Read`.
enum class FilePermission : uint32 { Read, Write, ReadWrite };

/// Gets each entry of a walked directory, which `directory` stays open for, with the name in it;
/// says whether to go on.
using FileVisitor = std::function<bool(const UniqueFD& directory, const std::string& name)>;

// Opening: an invalid `UniqueFD` if that fails, and for a null path.

/// A file, or whatever else can be opened, but no directory. With `create` a missing file is made;
/// one that exists is not truncated. An empty `path` without a base is refused. Nobody waits for
/// the other end of a pipe: without a reader it can't be opened for `Write`.
[[nodiscard]] KIV_BASE_API UniqueFD OpenFile(const char* path, bool create,
                                             FilePermission permission);
[[nodiscard]] KIV_BASE_API UniqueFD OpenFile(const UniqueFD& base, const char* path, bool create,
                                             FilePermission permission);
[[nodiscard]] KIV_BASE_API UniqueFD OpenFileReadOnly(const UniqueFD& base, const char* path);

/// A directory and nothing else, whatever the `permission`. With `create` its last level is made if
/// it is missing.
[[nodiscard]] KIV_BASE_API UniqueFD OpenDirectory(const char* path, bool create,
                                                  FilePermission permission);
[[nodiscard]] KIV_BASE_API UniqueFD OpenDirectory(const UniqueFD& base, const char* path,
                                                  bool create, FilePermission permission);
[[nodiscard]] KIV_BASE_API UniqueFD OpenDirectoryReadOnly(const UniqueFD& base, const char* path);

/// A second handle of the same open file, with the same access. Both have one position, also later.
[[nodiscard]] KIV_BASE_API UniqueFD Duplicate(FileHandle handle);

/// Makes what is missing of `components`, each in the one before and the first in `base`, and opens
/// the last. Invalid if `base` is no directory or there are no components.
[[nodiscard]] KIV_BASE_API UniqueFD CreateDirectory(const UniqueFD& base,
                                                    const std::vector<std::string>& components,
                                                    FilePermission permission);

// Inquiries: false also if the system does not tell.

KIV_BASE_API bool IsDirectory(const UniqueFD& directory);
/// A link to a directory is one.
KIV_BASE_API bool IsDirectory(const UniqueFD& base, const char* path);
/// Whether something has this name, whatever it is: also a directory, and a link to nothing.
KIV_BASE_API bool FileExists(const UniqueFD& base, const char* path);
/// Whether `path` is a plain file: no directory, link, pipe, socket or device.
KIV_BASE_API bool IsFile(const std::string& path);

// Changes: true on success.

/// Cuts the file, or extends it with zeros, to `size` bytes. `file` is open for writing; its
/// position stays, even beyond the new end.
KIV_BASE_API bool TruncateFile(const UniqueFD& file, uint64 size);
/// Removes a name that is no directory's; of a link, the link.
KIV_BASE_API bool UnlinkFile(const char* path);
KIV_BASE_API bool UnlinkFile(const UniqueFD& base, const char* path);
/// Removes an empty directory.
KIV_BASE_API bool UnlinkDirectory(const char* path);
KIV_BASE_API bool UnlinkDirectory(const UniqueFD& base, const char* path);
/// Renames, and never replaces what is at `to`. To another file system only a plain file can go: it
/// is copied, with its permission bits and times, and then removed. Its owner, extended attributes
/// and other names stay behind, and whoever has it open keeps the old one. If somebody changes it
/// meanwhile, or it can't be removed, the copy goes and it stays. Null counts as empty.
KIV_BASE_API bool MoveFileOrDirectory(const char* from, const char* to);
/// Copies contents and permission bits of a plain file, in place of the plain file at `to` if there
/// is one, which takes the right to make files beside it; the copy belongs to the owner of that
/// file, as far as this process may give files away. Holes stay holes. If it fails, what was at
/// `to` stays as it was; a file is not copied onto itself.
KIV_BASE_API bool CopyFileUtf8(const char* from, const char* to);
/// Removes all that is below `directory`, depth first, and stops at the first entry that can't be
/// removed. Links are removed and never followed, what vanishes meanwhile counts as removed, and a
/// tree may be deeper than descriptors or paths allow. What is mounted in the tree is emptied, too.
/// True for an invalid handle; false for what can't be listed, because it may not be empty.
KIV_BASE_API bool RemoveFilesInDirectory(const UniqueFD& directory);
/// The same, and then the directory `name` itself, which must not be a link. Links in front of its
/// last part are followed.
KIV_BASE_API bool RemoveDirectoryRecursively(const UniqueFD& base, const char* name);

// Walking, in the order of the system, without "." and "..". An empty visitor raises
// `std::bad_function_call` at the first entry. Walks of one handle don't disturb each other, except
// where nobody may enter the directory any more.

/// False if the visitor ended the walk; true at its end, and for what can't be listed.
KIV_BASE_API bool VisitFiles(const UniqueFD& directory, const FileVisitor& visitor);
/// Also enters each directory, once it has been reported. Links are reported and not followed, and
/// a directory that can't be opened is skipped.
KIV_BASE_API bool VisitFilesRecursively(const UniqueFD& directory, const FileVisitor& visitor);

/// Makes a new directory with a random name in the folder for temporary files, which nobody but
/// this user may enter, and gives its path; empty if that fails.
KIV_BASE_API std::string CreateTemporaryDirectory();

/// A temporary directory that goes away with the object, and all that is in it.
class KIV_BASE_API ScopedTemporaryDirectory {
public:
    ScopedTemporaryDirectory();
    ~ScopedTemporaryDirectory();
    ScopedTemporaryDirectory(const ScopedTemporaryDirectory&) = delete;
    ScopedTemporaryDirectory& operator=(const ScopedTemporaryDirectory&) = delete;

    std::string path;  // empty if it could not be made
    UniqueFD fd;       // open for reading
};

}  // namespace kiv

#endif  // KIV_BASE_FILE_H_
