// The objects that a reading archive has made.
#ifndef KIV_BASE_ARCHIVE_READ_OBJECTS_H_
#define KIV_BASE_ARCHIVE_READ_OBJECTS_H_

#include <cstddef>
#include <utility>
#include <vector>

#include "archive/referenceWalk.h"
#include "kiv/base/integers.h"
#include "kiv/base/object.h"
#include "kiv/base/refPtr.h"

namespace kiv::internal {

/// Keeps the objects alive for as long as the archive may come upon a reference to them.
class ReadObjects {
public:
    /// Takes the object and calls `fill`, which lets it read its contents. If the outermost of such
    /// calls throws, all objects since its beginning are emptied of their references, or a circle
    /// that is half built would keep itself alive for ever; before that `forget(id, object)` is
    /// called for each of them, for the archive to find them no more.
    template <class Fill, class Forget>
    void Read(uint64 id, RefPtr<Object> object, Fill fill, Forget forget) {
        if (depth_ == 0)
            outermost_ = objects_.size();
        objects_.push_back({id, std::move(object)});
        ++depth_;
        try {
            fill();
        } catch (...) {
            if (--depth_ == 0)
                _Drop(forget);
            throw;
        }
        --depth_;
    }

    /// Empties the objects that nobody but their like refers to: circles that a damaged source left
    /// behind, which would keep themselves alive for ever.
    void ReleaseCircles() noexcept;

private:
    struct Entry {
        uint64 id;
        RefPtr<Object> object;
    };

    template <class Forget>
    void _Drop(Forget forget) {
        std::vector<Entry> dropped;
        for (std::size_t i = outermost_; i < objects_.size(); ++i)
            dropped.push_back(std::move(objects_[i]));
        objects_.resize(outermost_);
        for (const Entry& entry : dropped)
            forget(entry.id, entry.object.get());
        for (const Entry& entry : dropped)
            CutReferences(*entry.object);
    }

    std::vector<Entry> objects_;
    std::size_t outermost_ = 0;
    unsigned int depth_ = 0;
};

}  // namespace kiv::internal

#endif  // KIV_BASE_ARCHIVE_READ_OBJECTS_H_
