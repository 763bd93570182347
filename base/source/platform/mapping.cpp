#include "kiv/base/mapping.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <utility>

#include "platform/fileContents.h"
#include "platform/filePlace.h"
#include "platform/fileReplacement.h"
#include "platform/pathRules.h"

namespace kiv {
namespace {

using Protection = FileMapping::Protection;

// Nothing for code that could be written: no page is both.
std::optional<platform::ViewAccess> AccessOf(std::initializer_list<Protection> protection) {
    const auto holds = [&](Protection wanted) {
        return std::find(protection.begin(), protection.end(), wanted) != protection.end();
    };
    const bool write = holds(Protection::Write);
    const bool execute = holds(Protection::Execute);
    if (write && execute)
        return std::nullopt;
    if (execute)
        return platform::ViewAccess::ReadExecute;
    return write ? platform::ViewAccess::ReadWrite : platform::ViewAccess::Read;
}

std::unique_ptr<FileMapping> Create(const UniqueFD& file,
                                    std::initializer_list<Protection> protection) {
    auto mapping = std::make_unique<FileMapping>(file, protection);
    return mapping->IsValid() ? std::move(mapping) : nullptr;
}

std::unique_ptr<FileMapping> Create(const std::string& path,
                                    std::initializer_list<Protection> protection) {
    if (platform::HasNul(path))
        return nullptr;
    return Create(OpenFile(path.c_str(), false, FilePermission::Read), protection);
}

std::unique_ptr<FileMapping> Create(const UniqueFD& base, const std::string& subPath,
                                    std::initializer_list<Protection> protection) {
    if (subPath.empty())
        return Create(base, protection);
    if (platform::HasNul(subPath))
        return nullptr;
    return Create(OpenFileReadOnly(base, subPath.c_str()), protection);
}

}  // namespace

Mapping::~Mapping() = default;

FileMapping::FileMapping(const UniqueFD& file, std::initializer_list<Protection> protection) {
    const std::optional<uint64> size = platform::ContentsSize(file.get());
    if (!size)
        return;
    if (*size != 0) {
        const std::optional<platform::ViewAccess> access = AccessOf(protection);
        if (access)
            mapping_ = platform::MapContents(file.get(), *size, *access);
        if (!mapping_)
            return;
        if (*access == platform::ViewAccess::ReadWrite)
            mutableMapping_ = mapping_;
    }
    size_ = *size;
    valid_ = true;
}

FileMapping::~FileMapping() {
    if (mapping_)
        platform::UnmapContents(mapping_, size_);
}

std::unique_ptr<FileMapping> FileMapping::CreateReadOnly(const std::string& path) {
    return Create(path, {Protection::Read});
}
std::unique_ptr<FileMapping> FileMapping::CreateReadOnly(const UniqueFD& base,
                                                         const std::string& subPath) {
    return Create(base, subPath, {Protection::Read});
}
std::unique_ptr<FileMapping> FileMapping::CreateReadExecute(const std::string& path) {
    return Create(path, {Protection::Read, Protection::Execute});
}
std::unique_ptr<FileMapping> FileMapping::CreateReadExecute(const UniqueFD& base,
                                                            const std::string& subPath) {
    return Create(base, subPath, {Protection::Read, Protection::Execute});
}

DataMapping::DataMapping(std::vector<uint8> data) : data_(std::move(data)) {}
DataMapping::DataMapping(const std::string& text) : data_(text.begin(), text.end()) {}
DataMapping::~DataMapping() = default;

MallocMapping::MallocMapping(MallocMapping&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)) {}

MallocMapping::~MallocMapping() {
    std::free(data_);
}

MallocMapping MallocMapping::Copy(const void* begin, uint64 size) {
    // malloc may give a block also for nothing.
    auto* data = size != 0 ? static_cast<uint8*>(std::malloc(size)) : nullptr;
    if (!data)
        return {};
    std::memcpy(data, begin, size);
    return {data, size};
}

uint8* MallocMapping::Release() {
    size_ = 0;
    return std::exchange(data_, nullptr);
}

NonOwnedMapping::NonOwnedMapping(const uint8* data, uint64 size, const ReleaseFunction& release,
                                 bool dontNeedSafe)
    : data_(data), size_(size), release_(release), dontNeedSafe_(dontNeedSafe) {}

NonOwnedMapping::~NonOwnedMapping() {
    if (release_)
        release_(data_, size_);
}

SymbolMapping::SymbolMapping(RefPtr<NativeLibrary> library, const char* symbol)
    : library_(std::move(library)) {
    if (!library_ || !symbol)
        return;
    NativeLibrarySymbol found = library_->Resolve(symbol);
    if (!found)
        found = library_->Resolve((std::string("_") + symbol).c_str());
    mapping_ = reinterpret_cast<const uint8*>(found);
}

SymbolMapping::~SymbolMapping() = default;

bool WriteAtomically(const UniqueFD& base, const char* name, const Mapping& data) {
    if (!name)
        return false;
    const UniqueFD file = OpenFile(base, name, true, FilePermission::ReadWrite);
    const std::optional<uint64> oldSize = platform::ContentsSize(file.get());
    if (!oldSize)
        return false;
    const uint64 size = data.GetSize();
    const bool written = size != 0 && platform::ReserveContents(file.get(), size) &&
                         platform::WriteContents(file.get(), 0, data.GetMapping(), size);
    // Cut only now, because `data` may lie in what is cut off. A failure leaves no zeros behind.
    return TruncateFile(file, written || size == 0 ? size : *oldSize) && written &&
           platform::SyncContents(file.get());
}

bool ReplaceFile(const UniqueFD& base, const char* name, const Mapping& data) {
    platform::FileReplacement replacement(platform::PlaceOf(base, name));
    const UniqueFD& file = replacement.file();
    return file.is_valid() &&
           platform::WriteContents(file.get(), 0, data.GetMapping(), data.GetSize()) &&
           replacement.Commit(platform::Existing::Replace, platform::Durability::Synced);
}

}  // namespace kiv
