#include "catalogue/annotatedView.h"

#include <cstdio>
#include <stdexcept>

#include "catalogue/catalogueTypes.h"
#include "catalogue/graphOwner.h"
#include "kiv/base/annotatingArchive.h"
#include "kiv/base/binaryArchive.h"
#include "kiv/base/binarySerializer.h"

namespace catalogue {
namespace {

kiv::RefPtr<kiv::Object> PrintWhileReading(kiv::ArrayView<const unsigned char> bytes) {
    std::puts("  offset  length  datum");
    kiv::BinaryInputArchive stream(bytes, {});
    kiv::AnnotatingArchive archive(stream, [](const kiv::StringView& line) {
        std::printf("%.*s\n", static_cast<int>(line.size()), line.data());
    });
    kiv::RefPtr<kiv::Object> root;
    archive.Serialize<kiv::Object>("catalogue", root);
    return root;
}

}  // namespace

StreamState PrintAnnotated(kiv::ArrayView<const unsigned char> bytes) try {
    const GraphOwner<kiv::Object> graph(PrintWhileReading(bytes));
    if (!graph.root() || !graph.root()->IsInstanceOf<Folder>())
        return StreamState::Foreign;
    // The form has neither an end mark nor a checksum. But a graph that was read whole takes as
    // many bytes when it is written again; only the ids are others.
    kiv::BinarySerializer again({});
    const bool isWhole = again.Serialize(graph.root()) && again.GetBuffer().size() == bytes.size();
    return isWhole ? StreamState::Whole : StreamState::Damaged;
} catch (const std::runtime_error&) {
    return StreamState::TooDeep;
}

}  // namespace catalogue
