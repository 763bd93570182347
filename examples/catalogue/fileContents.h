// What is in the files: one `Content` for all files with the same bytes.
#ifndef CATALOGUE_FILE_CONTENTS_H_
#define CATALOGUE_FILE_CONTENTS_H_

#include <vector>

#include "catalogue/catalogueTypes.h"
#include "catalogue/progress.h"
#include "kiv/base/integers.h"
#include "kiv/base/refPtr.h"

namespace catalogue {

/// Gives each file its `Content`, and gives back how many files could not be read; these are marked
/// so. Only files that share their size with another one are read to their end. They are mapped one
/// at a time, so nothing of them is copied; but no file may be cut short while it is read.
kiv::uint64 ReadContents(const std::vector<kiv::RefPtr<Entry>>& files, Progress& progress);

}  // namespace catalogue

#endif  // CATALOGUE_FILE_CONTENTS_H_
