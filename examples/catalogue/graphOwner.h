// Keeps a graph of objects that refer to each other in circles, which no reference count ends.
#ifndef CATALOGUE_GRAPH_OWNER_H_
#define CATALOGUE_GRAPH_OWNER_H_

#include <utility>

#include "kiv/base/object.h"
#include "kiv/base/refPtr.h"

namespace catalogue {

/// Sets every reference that can be reached from `root`, which may be null, to null, and every
/// array of them to an empty one, through reflection alone.
void CutReferences(const kiv::RefPtr<kiv::Object>& root);

/// The graph below a `T`; its end cuts the graph up, so that every object in it goes that nobody
/// else holds.
template <class T>
class GraphOwner {
public:
    explicit GraphOwner(kiv::RefPtr<T> root) : root_(std::move(root)) {}
    GraphOwner(const GraphOwner&) = delete;
    GraphOwner& operator=(const GraphOwner&) = delete;
    ~GraphOwner() { CutReferences(root_); }

    const kiv::RefPtr<T>& root() const { return root_; }

private:
    const kiv::RefPtr<T> root_;
};

}  // namespace catalogue

#endif  // CATALOGUE_GRAPH_OWNER_H_
