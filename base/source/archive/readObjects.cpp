#include "archive/readObjects.h"

#include <unordered_map>

namespace kiv::internal {

void ReadObjects::ReleaseCircles() noexcept {
    struct Node {
        Object* object;
        int64 outside;  // references that none of the objects writes
        bool reached = false;
        std::vector<Node*> references{};
    };
    try {
        std::vector<Node> nodes;
        nodes.reserve(objects_.size());
        std::unordered_map<const Object*, Node*> node_of;
        for (const Entry& entry : objects_) {
            nodes.push_back({entry.object.get(), int64{entry.object->RefCount()} - 1});
            node_of.emplace(entry.object.get(), &nodes.back());
        }
        for (Node& node : nodes)
            VisitReferences(*node.object, [&](Object* object) {
                const auto found = node_of.find(object);
                if (found == node_of.end())
                    return;
                node.references.push_back(found->second);
                --found->second->outside;
            });

        std::vector<Node*> waiting;
        const auto reach = [&waiting](Node& node) {
            if (!std::exchange(node.reached, true))
                waiting.push_back(&node);
        };
        for (Node& node : nodes)
            if (node.outside > 0)
                reach(node);
        while (!waiting.empty()) {
            const Node& node = *waiting.back();
            waiting.pop_back();
            for (Node* const next : node.references)
                reach(*next);
        }
        for (const Node& node : nodes)
            if (!node.reached)
                CutReferences(*node.object);
    } catch (...) {
        // An object that can't be written is left alone, with all that it may refer to.
    }
}

}  // namespace kiv::internal
