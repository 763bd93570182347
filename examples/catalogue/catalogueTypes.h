// The reflected classes of the catalogue: what a directory tree looks like as a graph of objects.
//
// Folders own their entries and know the folder that they lie in, so the graph has cycles; files
// with equal bytes refer to one `Content`. Whoever owns a graph ends it with a `GraphOwner`.
#ifndef CATALOGUE_CATALOGUE_TYPES_H_
#define CATALOGUE_CATALOGUE_TYPES_H_

#include <string>

#include "kiv/base/array.h"
#include "kiv/base/color.h"
#include "kiv/base/integers.h"
#include "kiv/base/object.h"
#include "kiv/base/refPtr.h"
#include "kiv/base/status.h"
#include "kiv/base/stringView.h"
#include "kiv/base/vector.h"

namespace catalogue {

class Folder;

enum class FileKind : kiv::int32 { Unknown, Regular, Link, Pipe, Socket, Device };

/// What folders and entries have in common.
class Node : public kiv::Object {
    KIV_OBJECT(Node, kiv::Object)
public:
    /// In UTF-8, whatever the bytes of the real name are; see `ReadableText`.
    kiv::StringView GetName() const override { return name_; }
    /// `Status::InvalidParameter` for an empty name.
    kiv::Status Rename(kiv::StringView name);

    kiv::int32 permissions = 0;  // the nine bits
    kiv::int64 modified = 0;     // nanoseconds since 1970; 0 if unknown
    bool readable = true;
    std::string path;  // of this machine, as its file system spells it; not stored
    kiv::RefPtr<Folder> folder;

protected:
    ~Node() override;

private:
    std::string name_;
};

/// The bytes of one or several files.
class Content : public kiv::Object {
    KIV_OBJECT(Content, kiv::Object)
public:
    kiv::int32 copies = 0;           // the files with these bytes
    double entropy = 0;              // bits a byte, in the beginning of the file
    kiv::Array<unsigned char> head;  // the first bytes
    kiv::Array<std::string> lines;   // the first lines; none unless the file begins as UTF-8 text
};

/// Whatever lies in a folder and is none.
class Entry : public Node {
    KIV_OBJECT(Entry, Node)
public:
    /// Of the name, without the dot; empty if there is none.
    kiv::StringView GetExtension() const;

    FileKind kind = FileKind::Unknown;
    kiv::uint64 size = 0;          // in bytes
    std::string target;            // of a link
    kiv::Color tint;               // red, green and blue: the rights of owner, group and others
    kiv::Vector3f place;           // for a view of the tree: column, depth, logarithm of the size
    kiv::RefPtr<Content> content;  // null unless the file was read
};

class Folder : public Node {
    KIV_OBJECT(Folder, Node)
public:
    /// The sizes of the entries, without those of folders further down.
    kiv::uint64 GetEntryBytes() const;

    kiv::int32 depth = 0;
    kiv::Array<kiv::RefPtr<Folder>> folders;
    kiv::Array<kiv::RefPtr<Entry>> entries;
};

}  // namespace catalogue

#endif  // CATALOGUE_CATALOGUE_TYPES_H_
