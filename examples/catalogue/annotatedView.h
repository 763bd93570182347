// A stored catalogue as lines that people can read.
#ifndef CATALOGUE_ANNOTATED_VIEW_H_
#define CATALOGUE_ANNOTATED_VIEW_H_

#include "kiv/base/byteBuffer.h"

namespace catalogue {

enum class StreamState {
    Whole,
    Damaged,  // a catalogue of which something is missing or left over
    TooDeep,  // with more objects in each other than the stack holds
    Foreign   // something else
};

/// Prints each datum of a binary catalogue on the standard output while it is read, as far as there
/// is anything to read.
StreamState PrintAnnotated(kiv::ArrayView<const unsigned char> bytes);

}  // namespace catalogue

#endif  // CATALOGUE_ANNOTATED_VIEW_H_
