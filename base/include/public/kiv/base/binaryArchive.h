// The compact form of an archive: the bare sequence of its data, without names, header or marks.
//
//     BinaryOutputArchive archive({});
//     archive.Serialize<Object>("", scene);
//     archive.ToBuffer(bytes);
//     ...
//     BinaryInputArchive source(bytes, {});
//     source.Serialize<Object>("", copy);
//
// A datum is found by its place: the reader has to make the calls of the writer in their order.
// Names are ignored. An object that is met again is a reference to its first record, which is how
// shared and circular references stay finite. The stream is drawn in
// docs/formats/binary-archive.md; `AnnotatingArchive` prints one for people.
//
// Objects are nested in one another as deeply as the stack allows; beyond that both directions
// throw `std::runtime_error`.
#ifndef KIV_BASE_BINARY_ARCHIVE_H_
#define KIV_BASE_BINARY_ARCHIVE_H_

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "kiv/base/archive.h"
#include "kiv/base/byteBuffer.h"
#include "kiv/base/export.h"
#include "kiv/base/integers.h"

namespace kiv {

class AnnotatingArchive;

class KIV_BASE_API BinaryArchive : public Archive {
public:
    ~BinaryArchive() override;

protected:
    explicit BinaryArchive(const std::unordered_map<std::string, Value>& options);

private:
    friend class AnnotatingArchive;
    friend class BinaryInputArchive;
    friend class BinaryOutputArchive;

    /// Of the datum that comes next, in bytes from the start of the stream.
    virtual uint64 _Offset() const = 0;
    /// The archive that an object writes its contents to, or reads them from.
    Archive& _ContentsArchive();

    AnnotatingArchive* annotator_ = nullptr;  // what wraps this archive, if something does
};

class KIV_BASE_API BinaryOutputArchive : public BinaryArchive {
public:
    explicit BinaryOutputArchive(const std::unordered_map<std::string, Value>& options);
    ~BinaryOutputArchive() override;

    /// Replaces `out` by the bytes written so far. May be called at any time, and again.
    void ToBuffer(std::vector<unsigned char>& out);
    /// The bytes written so far, where they are. Valid until the next call that writes.
    ArrayView<const unsigned char> GetBytes() const { return {writer_.data(), writer_.size()}; }

    // The archive keeps each object that it writes alive, since its address is its id. A container
    // of 2^32 elements or more can't be stored: a failed check is logged. If the contents of an
    // object throw, the stream is as it was before the object.
    KIV_ARCHIVE_OVERRIDES

private:
    struct WrittenObjects;

    bool _SerializeTypeName(const std::string& expected, std::string& found) override;
    uint64 _Offset() const override;

    template <class T>
    Archive& _WriteNumber(T value);
    void _WriteCount(uint64 count);
    void _WriteString(const std::string& value);
    template <class List>
    Archive& _WriteNumbers(const List& values);
    template <class List>
    Archive& _WriteStrings(const List& values);

    void _WriteObjectCount(uint64 count);

    void WriteObject(Object* object, bool weak);
    void WriteObjectInternal(Object* object);

    ByteBufferWriter writer_;
    std::unique_ptr<WrittenObjects> written_;
};

class KIV_BASE_API BinaryInputArchive : public BinaryArchive {
public:
    /// Reads the bytes where they are: `buffer` has to outlive the archive, unchanged.
    BinaryInputArchive(const std::vector<unsigned char>& buffer,
                       const std::unordered_map<std::string, Value>& options);
    /// The same, for bytes that lie anywhere else.
    BinaryInputArchive(ArrayView<const unsigned char> bytes,
                       const std::unordered_map<std::string, Value>& options);
    ~BinaryInputArchive() override;

    // Where the stream ends too early a number is left as it was, and a string or list is emptied,
    // as it is if it claims more elements than the rest of the stream can hold. The first of these
    // is logged. A weak reference is stepped over and the target left alone.
    //
    // If a read throws, the objects that were made for it are emptied of their references, or a
    // half-built cycle would keep itself alive for ever. The end of the archive does the same for
    // those that nobody came to hold, because the stream is damaged or they were refused.
    KIV_ARCHIVE_OVERRIDES

private:
    struct KnownObjects;

    bool _SerializeTypeName(const std::string& expected, std::string& found) override;
    void _NoteLostObjects() override;
    uint64 _Offset() const override;

    const unsigned char* _Take(uint64 size);
    template <class T>
    Archive& _ReadNumber(T& value);
    unsigned int _ReadCount(uint64 element_size);
    StringView _ReadText();
    void _ReadString(std::string& value);
    template <class List>
    Archive& _ReadNumbers(List& values);
    template <class List>
    Archive& _ReadStrings(List& values);
    unsigned int _ReadObjectCount();
    void _StepOverReference();
    void _StepOver(uint64 size);
    void _ReportDamage(const char* what);

    RefPtr<Object> _ReadReference();
    RefPtr<Object> ReadObject();
    RefPtr<Object> ReadObjectInternal(uint64 id);

    ByteBufferReader reader_;
    bool is_damaged_ = false;  // which was logged
    std::unique_ptr<KnownObjects> known_;
};

}  // namespace kiv

#endif  // KIV_BASE_BINARY_ARCHIVE_H_
