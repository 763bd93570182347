// One entry for people to read.
#ifndef CATALOGUE_DISPLAY_H_
#define CATALOGUE_DISPLAY_H_

#include <string>

#include "catalogue/catalogueTypes.h"
#include "kiv/base/status.h"

namespace catalogue {

/// The display form of an entry in the tree below `root`, if there is one a text. Without any entry
/// that of `root`.
std::string DisplayOneEntry(Folder& root, kiv::Status* status);

}  // namespace catalogue

#endif  // CATALOGUE_DISPLAY_H_
