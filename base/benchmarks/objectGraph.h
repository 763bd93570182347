// The graph that the archives are measured with: objects that are shared and refer to each other in
// cycles. A root owns groups of entries; all of them refer back to their parent, and the entries of
// a group share one content.
//
// `Pointer` is a counted pointer to a node with the members of `PlainNode`. A format, which
// `WriteGraph` and `ReadGraph` measure, is a class with such a `Pointer` and with
//
//     static Pointer Make();
//     void Write(const Pointer& root);         // keeps the text
//     std::string text();                      // what the last Write kept; or bytes of any type
//     Pointer Read(const std::string& text);
#ifndef KIV_BASE_BENCHMARKS_OBJECTGRAPH_H_
#define KIV_BASE_BENCHMARKS_OBJECTGRAPH_H_

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

/// What a graph is made of besides its root.
struct GraphSize {
    int groups;
    int entries;  // of each group
    constexpr int objects() const { return 1 + groups * (2 + entries); }
};

inline constexpr GraphSize kTenThousand{99, 99};
inline constexpr GraphSize kHundredThousand{369, 269};
static_assert(kTenThousand.objects() == 10'000 && kHundredThousand.objects() == 100'000);

template <class Pointer, class Make>
Pointer MakeGraph(GraphSize size, Make make) {
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
    for (int i = 0; i < size.groups; ++i) {
        const Pointer group = add(root);
        group->content = add(Pointer());
        root->children.emplace_back(group);
        for (int j = 0; j < size.entries; ++j) {
            const Pointer entry = add(group);
            entry->content = group->content;
            group->children.emplace_back(entry);
        }
    }
    return root;
}

/// True if the graph is what `MakeGraph` made.
template <class Pointer>
bool IsWhole(GraphSize size, const Pointer& root) {
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
    return seen == size.objects();
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

template <class Format, GraphSize size = kTenThousand>
void WriteGraph(benchmark::State& state) {
    using Pointer = typename Format::Pointer;
    const Graph<Pointer> graph(MakeGraph<Pointer>(size, &Format::Make));
    Format format;
    for (auto _ : state)
        format.Write(graph.root());
    const Graph<Pointer> copy(format.Read(format.text()));
    if (!IsWhole(size, copy.root()))
        state.SkipWithError("what was written does not read back");
}

template <class Format, GraphSize size = kTenThousand>
void ReadGraph(benchmark::State& state) {
    using Pointer = typename Format::Pointer;
    const Graph<Pointer> graph(MakeGraph<Pointer>(size, &Format::Make));
    Format format;
    format.Write(graph.root());
    const auto text = format.text();
    for (auto _ : state) {
        auto copy = std::make_unique<Graph<Pointer>>(format.Read(text));
        state.PauseTiming();
        if (!IsWhole(size, copy->root()))
            state.SkipWithError("the objects are not those that were written");
        copy.reset();
        state.ResumeTiming();
    }
}

}  // namespace kiv::bench

#endif  // KIV_BASE_BENCHMARKS_OBJECTGRAPH_H_
