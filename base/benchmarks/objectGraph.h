// The graph that the archives are measured with: 10,000 objects, shared and cyclic. A root owns 99
// groups of 99 entries each; all of them refer back to their parent, and the entries of a group
// share one content.
//
// `Pointer` is a counted pointer to a node with the members of `PlainNode`. A format, which
// `WriteGraph` and `ReadGraph` measure, is a class with such a `Pointer` and with
//
//     static Pointer Make();
//     void Write(const Pointer& root);         // keeps the text
//     std::string text();                      // what the last Write kept
//     Pointer Read(const std::string& text);
#ifndef KIV_BASE_BENCHMARKS_OBJECTGRAPH_H_
#define KIV_BASE_BENCHMARKS_OBJECTGRAPH_H_

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "bench.h"

namespace kiv::bench {

/// A node for the libraries that work on pointers of the standard library.
struct PlainNode {
    int index = 0;
    double weight = 0;
    std::string name;
    std::shared_ptr<PlainNode> parent;
    std::shared_ptr<PlainNode> content;
    std::vector<std::shared_ptr<PlainNode>> children;
};

inline constexpr int kGroups = 99;
inline constexpr std::size_t kObjects = 1 + kGroups + kGroups + kGroups * kGroups;
static_assert(kObjects == 10'000);

template <class Pointer, class Make>
Pointer MakeGraph(Make make) {
    int made = 0;
    const auto add = [&](const Pointer& parent) {
        Pointer node = make();
        node->index = made;
        node->weight = made / 7.0;
        node->name = "node " + std::to_string(made);
        node->parent = parent;
        ++made;
        return node;
    };
    const Pointer root = add(Pointer());
    for (int i = 0; i < kGroups; ++i) {
        const Pointer group = add(root);
        group->content = add(Pointer());
        root->children.emplace_back(group);
        for (int j = 0; j < kGroups; ++j) {
            const Pointer entry = add(group);
            entry->content = group->content;
            group->children.emplace_back(entry);
        }
    }
    return root;
}

/// True if the graph is what `MakeGraph` made.
template <class Pointer>
bool IsWhole(const Pointer& root) {
    int seen = 0;
    const auto is_next = [&](const Pointer& node, const Pointer& parent) {
        const int index = seen++;
        return node && node->index == index && node->weight == index / 7.0 &&
               node->name == "node " + std::to_string(index) && node->parent == parent;
    };
    if (!is_next(root, Pointer()) || root->content)
        return false;
    for (const Pointer& group : root->children) {
        if (!is_next(group, root) || !is_next(group->content, Pointer()))
            return false;
        for (const Pointer& entry : group->children) {
            if (!is_next(entry, group) || entry->content != group->content)
                return false;
        }
    }
    return seen == static_cast<int>(kObjects);
}

/// Cuts the cycles, so that the graph goes with its root.
template <class Pointer>
void Unlink(const Pointer& root) {
    for (const Pointer& group : root->children) {
        for (const Pointer& entry : group->children)
            entry->parent = Pointer();
        group->parent = Pointer();
    }
}

/// A graph that frees all of its objects in the end.
template <class Pointer>
class Graph {
public:
    explicit Graph(Pointer root) : root_(root) {}
    Graph(const Graph&) = delete;
    Graph& operator=(const Graph&) = delete;
    ~Graph() {
        if (root_)
            Unlink(root_);
    }
    const Pointer& root() const { return root_; }

private:
    Pointer root_;
};

template <class Format>
void WriteGraph(benchmark::State& state) {
    using Pointer = typename Format::Pointer;
    const Graph<Pointer> graph(MakeGraph<Pointer>(&Format::Make));
    Format format;
    for (auto _ : state)
        format.Write(graph.root());
    const Graph<Pointer> copy(format.Read(format.text()));
    if (!IsWhole(copy.root()))
        state.SkipWithError("what was written does not read back");
}

template <class Format>
void ReadGraph(benchmark::State& state) {
    using Pointer = typename Format::Pointer;
    const Graph<Pointer> graph(MakeGraph<Pointer>(&Format::Make));
    Format format;
    format.Write(graph.root());
    const std::string text = format.text();
    for (auto _ : state) {
        auto copy = std::make_unique<Graph<Pointer>>(format.Read(text));
        state.PauseTiming();
        if (!IsWhole(copy->root()))
            state.SkipWithError("the objects are not those that were written");
        copy.reset();
        state.ResumeTiming();
    }
}

}  // namespace kiv::bench

#endif  // KIV_BASE_BENCHMARKS_OBJECTGRAPH_H_
