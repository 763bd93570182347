#include "archive/readObjects.h"

#include <new>
#include <unordered_map>

namespace kiv::internal {

void ReadObjects::_ReleaseCircles() noexcept {
    struct Node {
        Object* object;
        int64 outside;  // references that none of the objects writes
        bool held = false;
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
        // An object may write references that it doesn't own, such as one to its parent. So what
        // was handed out counts as held whatever the numbers say, and so does what can't be asked.
        for (const Object* const object : handed_out_)
            if (const auto found = node_of.find(object); found != node_of.end())
                found->second->held = true;
        for (Node& node : nodes) {
            const auto note = [&](Object* object) {
                const auto found = node_of.find(object);
                if (found == node_of.end())
                    return;
                node.references.push_back(found->second);
                --found->second->outside;
            };
            if (!VisitReferences(*node.object, options_, note))
                node.held = true;
        }

        std::vector<Node*> waiting;
        const auto reach = [&waiting](Node& node) {
            if (!std::exchange(node.reached, true))
                waiting.push_back(&node);
        };
        for (Node& node : nodes)
            if (node.held || node.outside > 0)
                reach(node);
        while (!waiting.empty()) {
            const Node& node = *waiting.back();
            waiting.pop_back();
            for (Node* const next : node.references)
                reach(*next);
        }
        for (const Node& node : nodes)
            if (!node.reached)
                CutReferences(*node.object, options_);
    } catch (const std::bad_alloc&) {
        // The circles stay.
    }
}

}  // namespace kiv::internal
