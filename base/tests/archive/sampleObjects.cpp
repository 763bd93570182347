#include "archive/sampleObjects.h"

#include <cctype>
#include <map>
#include <utility>
#include <vector>

#include "kiv/base/registration.h"

namespace kiv::testing {
namespace {

[[maybe_unused]] const bool registered[] = {
    Registration::Class<SampleNode>("SampleNode")
        .Property("count", &SampleNode::count)
        .Property("title", &SampleNode::title)
        .Property("next", &SampleNode::next)
        .Property("others", &SampleNode::others)
        .Creatable(),
    Registration::Class<SampleScript>("Sample\"Script").Creatable(),
};

}  // namespace

std::set<SampleNode*> SampleNode::living;

int SampleScript::alive = 0;
std::function<void(SampleScript&, Archive&)> SampleScript::body;

void SampleNode::CutAll() {
    // Held for the while, so that none goes before its own references are out.
    std::vector<RefPtr<SampleNode>> held(living.begin(), living.end());
    for (const RefPtr<SampleNode>& node : held) {
        node->next = nullptr;
        node->others.clear();
    }
}

RefPtr<SampleNode> MakeChain(int length) {
    RefPtr<SampleNode> first;
    for (int i = 0; i < length; ++i) {
        auto node = MakeRefCounted<SampleNode>();
        node->count = i;
        node->next = std::move(first);
        first = std::move(node);
    }
    return first;
}

RefPtr<SampleNode> MakeTangle() {
    RefPtr<SampleNode> ring = MakeChain(3);
    ring->title = "first";
    ring->next->next->next = ring;
    for (SampleNode* node = ring.get(); node->others.empty(); node = node->next.get())
        node->others = {ring, ring->next, ring->next->next};
    return ring;
}

std::string WithoutIds(const std::string& json) {
    std::map<std::string, std::size_t> ids;
    std::string text;
    for (std::size_t at = 0; at < json.size();) {
        std::size_t end = at;
        while (end < json.size() && std::isdigit(static_cast<unsigned char>(json[end])))
            ++end;
        // Nothing else in the samples has so many digits.
        if (end - at >= 12) {
            const auto id = ids.try_emplace(json.substr(at, end - at), ids.size() + 1).first;
            text += '#';
            text += std::to_string(id->second);
        } else {
            text += json.substr(at, end == at ? 1 : end - at);
        }
        at = end == at ? at + 1 : end;
    }
    return text;
}

}  // namespace kiv::testing
