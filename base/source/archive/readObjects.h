// The objects that a reading archive has made.
#ifndef KIV_BASE_ARCHIVE_READ_OBJECTS_H_
#define KIV_BASE_ARCHIVE_READ_OBJECTS_H_

#include <cstddef>
#include <string>
#include <unordered_map>
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
    /// The options of the archive, which has to outlive this.
    explicit ReadObjects(const std::unordered_map<std::string, Value>& options)
        : options_(options) {}
    ReadObjects(const ReadObjects&) = delete;
    ReadObjects& operator=(const ReadObjects&) = delete;
    /// If objects may have got lost, empties those that nobody but their like refers to, such as
    /// circles of which no object was taken: they would keep themselves alive for ever. Nothing
    /// happens to what was handed out, and to what that leads to.
    ~ReadObjects() {
        if (may_have_lost_some_)
            _ReleaseCircles();
    }

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

    /// An object, which may be null, goes to the one who asked the archive for it: to the user, or
    /// to the object that is being filled.
    void HandOut(Object* object) {
        if (depth_ == 0 && object)
            handed_out_.push_back(object);
    }
    /// The last one that was handed out was not taken.
    void TakeBack() {
        NoteLoss();
        if (depth_ == 0 && !handed_out_.empty())
            handed_out_.pop_back();
    }
    /// Objects may have got lost.
    void NoteLoss() { may_have_lost_some_ = true; }

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
            CutReferences(*entry.object, options_);
    }

    void _ReleaseCircles() noexcept;

    std::vector<Entry> objects_;
    std::vector<Object*> handed_out_;
    const std::unordered_map<std::string, Value>& options_;
    std::size_t outermost_ = 0;
    unsigned int depth_ = 0;
    bool may_have_lost_some_ = false;
};

}  // namespace kiv::internal

#endif  // KIV_BASE_ARCHIVE_READ_OBJECTS_H_
