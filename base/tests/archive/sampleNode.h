// Objects for the tests of the archives.
#ifndef KIV_BASE_TESTS_ARCHIVE_SAMPLE_NODE_H_
#define KIV_BASE_TESTS_ARCHIVE_SAMPLE_NODE_H_

#include <string>

#include "kiv/base/array.h"
#include "kiv/base/object.h"
#include "kiv/base/refPtr.h"

namespace kiv::testing {

/// A node of graphs with sharing and cycles, registered as "SampleNode". Nodes that live are
/// counted, so that a test can tell whether any leaked.
class SampleNode : public Object {
    KIV_OBJECT(SampleNode, Object)

public:
    SampleNode() { ++alive; }

    static int alive;

    int count = 0;
    std::string title;
    RefPtr<SampleNode> next;
    Array<RefPtr<SampleNode>> others;

protected:
    ~SampleNode() override { --alive; }
};

/// A chain of so many nodes. It has to be taken apart with `Unlink`: letting go of the first node
/// would recurse into all of them.
RefPtr<SampleNode> MakeChain(int length);
void Unlink(RefPtr<SampleNode> first);

/// The text with every object's id replaced by #1, #2 ... in the order in which they come up.
std::string WithoutIds(const std::string& json);

}  // namespace kiv::testing

#endif  // KIV_BASE_TESTS_ARCHIVE_SAMPLE_NODE_H_
