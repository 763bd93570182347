// Shows the stream of a binary archive, which has no names or marks of its own, while it is written
// or read: one line a call, and one for each object record.
//
//     BinaryInputArchive stream(bytes, {});
//     AnnotatingArchive archive(stream, [](const StringView& line) { Print(line); });
//     archive.Serialize<Object>("Object", object);
//
//      offset  length  datum
//           0      27  Object: object 0x55d0c8a3e2c0 of type Sample
//          27       7    type: String "int"
//          34       4    value: Int32 5
//
// Offset and length are in bytes, the depth of a line is that of the object or scope that it stands
// in, and every byte stands in one line only. What a damaged stream doesn't hold shows a length of
// 0. This is a tool for those who debug a stream: it is many times slower than the archive alone.
#ifndef KIV_BASE_ANNOTATING_ARCHIVE_H_
#define KIV_BASE_ANNOTATING_ARCHIVE_H_

#include <cstddef>
#include <functional>
#include <string>

#include "kiv/base/archive.h"
#include "kiv/base/export.h"
#include "kiv/base/integers.h"
#include "kiv/base/stringView.h"

namespace kiv {

class BinaryArchive;
class BinaryInputArchive;
class BinaryOutputArchive;

namespace internal {
enum class RecordTag : unsigned char;
}

class KIV_BASE_API AnnotatingArchive : public Archive {
public:
    /// Takes a line without its end, which is valid during the call only.
    using Sink = std::function<void(const StringView& line)>;

    /// Passes every call on to `archive`, which has to outlive this one and is wrapped by no other,
    /// and works with a copy of its options. What `sink` throws ends the call that it was told of.
    AnnotatingArchive(BinaryArchive& archive, Sink sink);
    ~AnnotatingArchive() override;

    KIV_ARCHIVE_OVERRIDES

private:
    friend class BinaryInputArchive;
    friend class BinaryOutputArchive;

    void _NoteLostObjects() override;

    // An object or a list of objects that was passed on, and how far that has got.
    struct ObjectCall {
        std::string name{};
        std::size_t depth = 0;  // of its first line
        bool is_list = false;
        unsigned int records = 0;
    };

    // From the archive, in the course of such a call.
    void _OnObjectCount(uint64 offset, unsigned int count);
    void _OnRecord(uint64 offset, internal::RecordTag tag, uint64 id, const StringView& typeName);
    void _OnSteppedOver(uint64 offset);

    template <class T>
    Archive& _Datum(const StringView& name, const char* type, T& value,
                    Archive& (Archive::*serialize)(const StringView&, T&));
    template <class T>
    Archive& _Objects(const StringView& name, T& value,
                      Archive& (Archive::*serialize)(const StringView&, T&));
    void _Print(uint64 offset, std::size_t depth, const std::string& datum);

    BinaryArchive& archive_;
    Sink sink_;
    std::size_t depth_ = 0;  // of the data that come next
    ObjectCall call_;
};

}  // namespace kiv

#endif  // KIV_BASE_ANNOTATING_ARCHIVE_H_
