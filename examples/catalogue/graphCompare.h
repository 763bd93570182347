// Tells whether two graphs of objects are the same, through reflection alone: it knows none of the
// classes that it looks at.
#ifndef CATALOGUE_GRAPH_COMPARE_H_
#define CATALOGUE_GRAPH_COMPARE_H_

#include <string>

#include "kiv/base/integers.h"
#include "kiv/base/object.h"

namespace catalogue {

struct Comparison {
    kiv::uint64 objects = 0;     // in one graph, as far as it was looked at
    kiv::uint64 properties = 0;  // that were compared
    std::string difference;      // where the first one is and what; empty if there is none
};

/// Compares all that can be reached from `left` with what can be reached from `right`: the classes,
/// the shape (what is shared in one is shared in the other), and each property, numbers bit by bit.
/// Left out are the properties that are written and not stored: they don't travel with an object.
/// What is only read follows from what was stored, so it has to agree.
Comparison CompareGraphs(kiv::Object& left, kiv::Object& right);

}  // namespace catalogue

#endif  // CATALOGUE_GRAPH_COMPARE_H_
