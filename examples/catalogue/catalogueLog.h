// What the catalogue tells of its runs: a log file for each day, and the same lines on the error
// output for who wants to see them.
#ifndef CATALOGUE_CATALOGUE_LOG_H_
#define CATALOGUE_CATALOGUE_LOG_H_

#include <string>

#include "kiv/base/logging.h"

namespace catalogue {

extern kiv::logging::Logger catalogueLog;

/// From here on messages go to the folder "logs" of `directory`, which is made if it is missing,
/// and to the error output if `verbose`. False if that folder can't be made: nothing is logged
/// then.
bool StartLog(const std::string& directory, bool verbose);

}  // namespace catalogue

#endif  // CATALOGUE_CATALOGUE_LOG_H_
