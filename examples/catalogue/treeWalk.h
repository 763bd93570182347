// A directory tree as a graph of folders and entries.
#ifndef CATALOGUE_TREE_WALK_H_
#define CATALOGUE_TREE_WALK_H_

#include <string>
#include <vector>

#include "catalogue/archiveFile.h"
#include "catalogue/catalogueTypes.h"
#include "catalogue/progress.h"
#include "kiv/base/integers.h"
#include "kiv/base/refPtr.h"

namespace catalogue {

struct Tree {
    kiv::RefPtr<Folder> root;
    std::vector<kiv::RefPtr<Entry>> files;  // the regular ones, without their contents
    kiv::uint64 unread = 0;                 // entries and folders that could not be looked at
};

/// Lists all that lies below `directory`, which is an absolute path, but for the files of
/// `except`. Follows no links and opens no files. What cannot be read, or vanishes meanwhile, is
/// listed as not readable, counted and logged. Each folder lists its contents by name.
Tree WalkTree(const std::string& directory, const std::vector<const ArchiveFile*>& except,
              Progress& progress);

}  // namespace catalogue

#endif  // CATALOGUE_TREE_WALK_H_
