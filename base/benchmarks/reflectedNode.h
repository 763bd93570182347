// The node of the graph in objectGraph.h as a class of ours.
#ifndef KIV_BASE_BENCHMARKS_REFLECTEDNODE_H_
#define KIV_BASE_BENCHMARKS_REFLECTEDNODE_H_

#include <string>

#include "kiv/base/array.h"
#include "kiv/base/object.h"
#include "kiv/base/registration.h"

namespace kiv::bench {

class Node : public Object {
    KIV_OBJECT(Node, Object)

public:
    int index = 0;
    double weight = 0;
    std::string name;
    RefPtr<Node> parent;
    RefPtr<Node> content;
    Array<RefPtr<Node>> children;
};

inline const bool node_is_registered = Registration::Class<Node>("Node")
                                           .Property("index", &Node::index)
                                           .Property("weight", &Node::weight)
                                           .Property("name", &Node::name)
                                           .Property("parent", &Node::parent)
                                           .Property("content", &Node::content)
                                           .Property("children", &Node::children)
                                           .Creatable();

}  // namespace kiv::bench

#endif  // KIV_BASE_BENCHMARKS_REFLECTEDNODE_H_
