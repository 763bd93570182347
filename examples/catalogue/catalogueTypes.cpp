#include "catalogue/catalogueTypes.h"

#include "kiv/base/propertyInfo.h"
#include "kiv/base/registration.h"

namespace catalogue {
namespace {

const bool fileKindRegistered = kiv::Registration::Enum<FileKind>("FileKind")
                                    .Item("Unknown", FileKind::Unknown)
                                    .Item("Regular", FileKind::Regular)
                                    .Item("Link", FileKind::Link)
                                    .Item("Pipe", FileKind::Pipe)
                                    .Item("Socket", FileKind::Socket)
                                    .Item("Device", FileKind::Device)
                                    .Done();

// A path means nothing on the machine that reads the archive, so it stays out of it.
const bool nodeRegistered =
    kiv::Registration::Class<Node>("Node")
        .Property("name", &Node::GetName, &Node::Rename)
        .Property("permissions", &Node::permissions)
        .Property("modified", &Node::modified)
        .Property("readable", &Node::readable)
        .Property("path", &Node::path, kiv::PropertyFlags::Readable | kiv::PropertyFlags::Writable)
        .Property("folder", &Node::folder)
        .Abstract();

const bool contentRegistered = kiv::Registration::Class<Content>("Content")
                                   .Property("copies", &Content::copies)
                                   .Property("entropy", &Content::entropy)
                                   .Property("head", &Content::head)
                                   .Property("lines", &Content::lines)
                                   .Creatable();

const bool entryRegistered = kiv::Registration::Class<Entry>("Entry")
                                 .Property("kind", &Entry::kind)
                                 .Property("size", &Entry::size)
                                 .Property("target", &Entry::target)
                                 .Property("tint", &Entry::tint)
                                 .Property("place", &Entry::place)
                                 .Property("content", &Entry::content)
                                 .ReadOnly("extension", &Entry::GetExtension)
                                 .Creatable();

const bool folderRegistered = kiv::Registration::Class<Folder>("Folder")
                                  .Property("depth", &Folder::depth)
                                  .Property("folders", &Folder::folders)
                                  .Property("entries", &Folder::entries)
                                  .ReadOnly("entryBytes", &Folder::GetEntryBytes)
                                  .Creatable();

}  // namespace

Node::~Node() = default;

kiv::Status Node::Rename(kiv::StringView name) {
    if (name.empty())
        return kiv::Status::InvalidParameter;
    name_ = std::string(name);
    return kiv::Status::Success;
}

kiv::StringView Entry::GetExtension() const {
    const kiv::StringView name = GetName();
    const std::size_t dot = name.rfind('.');
    // The dot in front of a hidden file's name begins no extension.
    if (dot == kiv::StringView::npos || dot == 0)
        return kiv::StringView();
    return name.substr(dot + 1);
}

kiv::uint64 Folder::GetEntryBytes() const {
    kiv::uint64 bytes = 0;
    for (const kiv::RefPtr<Entry>& entry : entries)
        bytes += entry->size;
    return bytes;
}

}  // namespace catalogue
