// A block of bytes to be read, whoever owns it: a mapped file, a vector, a block of `malloc`,
// memory of somebody else, or what a symbol in a library stands for. Code that consumes data takes
// a `Mapping` and never asks where it came from:
//
//     bool LoadMesh(const Mapping& bytes);
//
//     if (const auto file = FileMapping::CreateReadOnly("mesh.bin"))
//         LoadMesh(*file);
//     LoadMesh(DataMapping(std::move(received)));
//
// A mapping doesn't change once it is built, has no lock, and may be read on any thread; whoever
// writes to a writable one agrees with its readers about when. What fails gives null, false or an
// invalid mapping, and logs nothing.
#ifndef KIV_BASE_MAPPING_H_
#define KIV_BASE_MAPPING_H_

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "kiv/base/export.h"
#include "kiv/base/file.h"
#include "kiv/base/integers.h"
#include "kiv/base/nativeLibrary.h"
#include "kiv/base/refPtr.h"

namespace kiv {

class KIV_BASE_API Mapping {
public:
    Mapping() = default;
    virtual ~Mapping();
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;

    /// The bytes in the block.
    virtual uint64 GetSize() const = 0;
    /// The block, for as long as the mapping lives. Null if there is none, which an empty one need
    /// not have.
    virtual const uint8* GetMapping() const = 0;
    /// Whether the system may drop the memory of the block, because the same bytes come back when
    /// they are read again.
    virtual bool IsDontNeedSafe() const = 0;
};

/// The contents of a plain file of any size, which may be closed, renamed and removed meanwhile. It
/// is the file itself and no copy: what others write to it shows, and if they cut it, reading
/// beyond its new end raises a signal that ends the process. Those who write files for others to
/// map replace them as a whole, by `ReplaceFile`. A file that the system makes up as it is read,
/// such as those in /proc, says that its size is 0, and is mapped as an empty one.
class KIV_BASE_API FileMapping final : public Mapping {
public:
    enum class Protection : uint32 { Read, Write, Execute };

    /// Maps the whole file for what is in the list, and always for reading. Invalid if `file` is no
    /// plain file, was not opened for this, or `Write` and `Execute` are asked for together. An
    /// empty file is mapped to null, and valid.
    FileMapping(const UniqueFD& file, std::initializer_list<Protection> protection);
    ~FileMapping() override;

    bool IsValid() const { return valid_; }
    /// The same view for writing, which reaches the file; null without `Write`.
    uint8* GetMutableMapping() { return mutableMapping_; }

    uint64 GetSize() const override { return size_; }
    const uint8* GetMapping() const override { return mapping_; }
    bool IsDontNeedSafe() const override { return mutableMapping_ == nullptr; }

    /// A valid mapping of a file, or null. The file itself is closed behind it. An empty `subPath`
    /// stands for `base`, which is a file then; otherwise it is resolved against `base` as file.h
    /// says.
    [[nodiscard]] static std::unique_ptr<FileMapping> CreateReadOnly(const std::string& path);
    [[nodiscard]] static std::unique_ptr<FileMapping> CreateReadOnly(const UniqueFD& base,
                                                                     const std::string& subPath);
    /// The same for code, which can be run where it lies.
    [[nodiscard]] static std::unique_ptr<FileMapping> CreateReadExecute(const std::string& path);
    [[nodiscard]] static std::unique_ptr<FileMapping> CreateReadExecute(const UniqueFD& base,
                                                                        const std::string& subPath);

private:
    bool valid_ = false;
    uint64 size_ = 0;
    uint8* mapping_ = nullptr;
    uint8* mutableMapping_ = nullptr;
};

/// Owns a vector.
class KIV_BASE_API DataMapping final : public Mapping {
public:
    DataMapping(std::vector<uint8> data);
    /// Copies the bytes of the text, without a NUL behind them.
    DataMapping(const std::string& text);
    ~DataMapping() override;

    uint64 GetSize() const override { return data_.size(); }
    const uint8* GetMapping() const override { return data_.data(); }
    bool IsDontNeedSafe() const override { return false; }

private:
    std::vector<uint8> data_;
};

/// Owns a block that `malloc` made.
class KIV_BASE_API MallocMapping final : public Mapping {
public:
    /// Empty.
    MallocMapping() = default;
    /// Takes the block over, and will `free` it.
    MallocMapping(uint8* data, uint64 size) : data_(data), size_(size) {}
    MallocMapping(MallocMapping&& other) noexcept;
    ~MallocMapping() override;

    /// A copy of `size` bytes; empty if there is no memory for them.
    [[nodiscard]] static MallocMapping Copy(const void* begin, uint64 size);

    /// Gives the block to the caller, who has to `free` it. The mapping is empty afterwards.
    [[nodiscard]] uint8* Release();

    uint64 GetSize() const override { return size_; }
    const uint8* GetMapping() const override { return data_; }
    bool IsDontNeedSafe() const override { return false; }

private:
    uint8* data_ = nullptr;
    uint64 size_ = 0;
};

/// Shows memory that somebody else owns, who is told when it is needed no more.
class KIV_BASE_API NonOwnedMapping final : public Mapping {
public:
    /// Called once, with what the mapping was built with, on the thread that destroys it.
    using ReleaseFunction = std::function<void(const uint8* data, uint64 size)>;

    /// `release` may be empty. `dontNeedSafe` is what `IsDontNeedSafe` will say.
    NonOwnedMapping(const uint8* data, uint64 size, const ReleaseFunction& release,
                    bool dontNeedSafe);
    ~NonOwnedMapping() override;

    uint64 GetSize() const override { return size_; }
    const uint8* GetMapping() const override { return data_; }
    bool IsDontNeedSafe() const override { return dontNeedSafe_; }

private:
    const uint8* data_;
    uint64 size_;
    ReleaseFunction release_;
    bool dontNeedSafe_;
};

/// What a symbol of a library stands for, code or data. Only what is in the library itself is
/// found, and nothing of the libraries that it needs. It stays loaded for as long as the mapping
/// lives.
class KIV_BASE_API SymbolMapping final : public Mapping {
public:
    /// Null if the library has neither `symbol` nor, as some compilers spell it, "_" and `symbol`;
    /// also if one of the two arguments is null.
    SymbolMapping(RefPtr<NativeLibrary> library, const char* symbol);
    ~SymbolMapping() override;

    /// The symbol as a function, or null: `entry.GetFunction<int(const char*)>()`. That it has this
    /// type is for the caller to know.
    template <class Function>
    requires std::is_function_v<Function> Function* GetFunction() const {
        return reinterpret_cast<Function*>(reinterpret_cast<std::uintptr_t>(mapping_));
    }

    /// Always 0: nobody tells how much belongs to a symbol.
    uint64 GetSize() const override { return 0; }
    const uint8* GetMapping() const override { return mapping_; }
    bool IsDontNeedSafe() const override { return true; }

private:
    RefPtr<NativeLibrary> library_;
    const uint8* mapping_ = nullptr;
};

/// Writes `data` over the contents of a file, in place, and waits until they are on the disk. The
/// file is made if it is missing, but its new name is not waited for; links to it, its owner and
/// all who have it open stay. The space is reserved first, so that a full disk leaves the old
/// contents; if it fails later, and for readers meanwhile, the file may hold some of both, in spite
/// of the name: `ReplaceFile` is the one that nobody sees half done. `data` may be a view of this
/// very file, or of a part of it; where the file has become shorter than the view, zeros are
/// written for what is gone.
///
/// False if that fails, which may leave a new file empty, if `name` is null, and for empty `data`,
/// which empties the file. Beyond the process's limit on the size of files, here as in
/// `ReplaceFile`, the system ends the process by SIGXFSZ, unless that is ignored: then it fails.
KIV_BASE_API bool WriteAtomically(const UniqueFD& base, const char* name, const Mapping& data);

/// Puts a file with `data` in place of the one at `name`, or makes one. Whoever opens the name,
/// also after a crash of the system, finds the old contents or the new ones and nothing else, and
/// who has the old file open or mapped keeps it. The new file has the permission bits of the old
/// one, and its owner as far as this process may give files away. A link at `name` is replaced
/// itself, and not followed.
///
/// False if that fails, with the old file in its place; only if the disk can't confirm the very
/// last step, the new one is there, and a crash may bring back the old one. Also if the directory
/// may not be read, because then it can't be synced, and if `name` is null or empty, or has neither
/// a plain file nor a link, or a file that may not be written to.
KIV_BASE_API bool ReplaceFile(const UniqueFD& base, const char* name, const Mapping& data);

}  // namespace kiv

#endif  // KIV_BASE_MAPPING_H_
