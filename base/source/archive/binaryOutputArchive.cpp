#include <cstddef>
#include <limits>
#include <utility>

#include "archive/binaryCodec.h"
#include "archive/idMap.h"
#include "archive/nesting.h"
#include "kiv/base/annotatingArchive.h"
#include "kiv/base/binaryArchive.h"
#include "kiv/base/check.h"
#include "kiv/base/logging.h"

namespace kiv {

using internal::RecordTag;

/// The objects with a full record, in the order of these.
struct BinaryOutputArchive::WrittenObjects {
    struct Entry {
        RefPtr<Object> object;  // kept alive, or another object might take its address
        uint64 offset;          // of its record
    };

    bool IsWritten(uint64 id) {
        const bool* const found = marks.Find(id);
        return found && *found;
    }
    void Mark(Object* object, uint64 offset) {
        entries.push_back({RefPtr<Object>(object), offset});
        marks.Insert(internal::IdOf(object)) = true;
    }
    void ForgetFrom(uint64 offset) {
        while (!entries.empty() && entries.back().offset >= offset) {
            *marks.Find(internal::IdOf(entries.back().object.get())) = false;
            entries.pop_back();
        }
    }

    std::vector<Entry> entries;
    internal::IdMap<bool> marks;
};

BinaryOutputArchive::BinaryOutputArchive(const std::unordered_map<std::string, Value>& given)
    : BinaryArchive(given), written_(std::make_unique<WrittenObjects>()) {}

BinaryOutputArchive::~BinaryOutputArchive() = default;

void BinaryOutputArchive::ToBuffer(std::vector<unsigned char>& out) {
    out.assign(GetBytes().begin(), GetBytes().end());
}

bool BinaryOutputArchive::IsRead() const {
    return false;
}

uint64 BinaryOutputArchive::_Offset() const {
    return writer_.size();
}

template <class T>
Archive& BinaryOutputArchive::_WriteNumber(T value) {
    internal::Encode(value, writer_.AppendUnfilled(internal::kEncodedSize<T>));
    return *this;
}

void BinaryOutputArchive::_WriteCount(uint64 count) {
    KIV_CHECK_EXPLAINED(count <= std::numeric_limits<uint32>::max(),
                        "a binary archive counts with 32 bits");
    writer_.AppendUInt32(static_cast<uint32>(count));
}

void BinaryOutputArchive::_WriteString(const std::string& value) {
    _WriteCount(value.size());
    writer_.AppendString(value);
}

// Lists are taken as const: writing must not detach a shared array.
template <class List>
Archive& BinaryOutputArchive::_WriteNumbers(const List& values) {
    constexpr std::size_t kSize = internal::kEncodedSize<typename List::value_type>;
    const uint64 count = values.size();
    _WriteCount(count);
    if (count > 0)
        internal::EncodeAll(values, writer_.AppendUnfilled(count * kSize));
    return *this;
}

template <class List>
Archive& BinaryOutputArchive::_WriteStrings(const List& values) {
    _WriteCount(values.size());
    for (const std::string& value : values)
        _WriteString(value);
    return *this;
}

bool BinaryOutputArchive::_SerializeTypeName(const std::string& expected, std::string&) {
    _WriteString(expected);
    return true;
}

#define KIV_WRITE_NUMBER(Type, Name)                                                \
    Archive& BinaryOutputArchive::Serialize##Name(const StringView&, Type& value) { \
        return _WriteNumber(value);                                                 \
    }
KIV_WRITE_NUMBER(bool, Bool)
KIV_FOR_EACH_ARCHIVE_NUMBER(KIV_WRITE_NUMBER)
#undef KIV_WRITE_NUMBER

Archive& BinaryOutputArchive::SerializeString(const StringView&, std::string& value) {
    _WriteString(value);
    return *this;
}

Archive& BinaryOutputArchive::SerializeBoolArray(const StringView&, std::vector<bool>& value) {
    return _WriteNumbers(value);
}

#define KIV_WRITE_LIST(List, Name, Write)                                                  \
    Archive& BinaryOutputArchive::Serialize##Name##Array(const StringView&, List& value) { \
        return Write(std::as_const(value));                                                \
    }
#define KIV_WRITE_LISTS(Type, Name)                  \
    KIV_WRITE_LIST(Array<Type>, Name, _WriteNumbers) \
    KIV_WRITE_LIST(std::vector<Type>, Name, _WriteNumbers)
KIV_FOR_EACH_ARCHIVE_NUMBER(KIV_WRITE_LISTS)
KIV_WRITE_LIST(Array<std::string>, String, _WriteStrings)
KIV_WRITE_LIST(std::vector<std::string>, String, _WriteStrings)
#undef KIV_WRITE_LISTS
#undef KIV_WRITE_LIST

Archive& BinaryOutputArchive::SerializeObject(const StringView&, WeakPtr<Object>& value) {
    WriteObject(value.get(), true);
    return *this;
}

Archive& BinaryOutputArchive::SerializeObject(const StringView&, RefPtr<Object>& value) {
    WriteObject(value.get(), false);
    return *this;
}

Archive& BinaryOutputArchive::SerializeObjectArray(const StringView&,
                                                   Array<WeakPtr<Object>>& value) {
    _WriteObjectCount(value.size());
    for (const WeakPtr<Object>& object : std::as_const(value))
        WriteObject(object.get(), true);
    return *this;
}

Archive& BinaryOutputArchive::SerializeObjectArray(const StringView&,
                                                   Array<RefPtr<Object>>& value) {
    // A copy, since the contents of an object may change the list that it stands in.
    const Array<RefPtr<Object>> objects = value;
    _WriteObjectCount(objects.size());
    for (const RefPtr<Object>& object : objects)
        WriteObject(object.get(), false);
    return *this;
}

void BinaryOutputArchive::_WriteObjectCount(uint64 count) {
    const uint64 start = writer_.size();
    _WriteCount(count);
    if (annotator_)
        annotator_->_OnObjectCount(start, static_cast<uint32>(count));
}

void BinaryOutputArchive::WriteObject(Object* object, bool weak) {
    const uint64 id = internal::IdOf(object);
    RecordTag tag = RecordTag::kNull;
    if (object)
        tag = weak || written_->IsWritten(id) ? RecordTag::kReference : RecordTag::kFull;

    const uint64 start = writer_.size();
    unsigned char* const head = writer_.AppendUnfilled(internal::kRecordHeadSize);
    head[0] = static_cast<unsigned char>(tag);
    internal::Encode(id, head + 1);
    if (tag != RecordTag::kFull) {
        if (annotator_)
            annotator_->_OnRecord(start, tag, id, StringView());
        return;
    }
    try {
        WriteObjectInternal(object);
    } catch (...) {
        writer_.Truncate(start);
        written_->ForgetFrom(start);
        throw;
    }
}

void BinaryOutputArchive::WriteObjectInternal(Object* object) {
    internal::RequireRoomToNest();
    const uint64 start = writer_.size() - internal::kRecordHeadSize;
    const StringView type_name = object->GetType().GetName();
    _WriteCount(type_name.size());
    writer_.AppendString(type_name);
    const uint64 size_offset = writer_.size();
    writer_.AppendUInt32(0);
    // Marked before its contents are written, so that a cycle ends here.
    written_->Mark(object, start);
    if (annotator_)
        annotator_->_OnRecord(start, RecordTag::kFull, internal::IdOf(object), type_name);

    const uint64 payload = writer_.size();
    *object << _ContentsArchive();
    const uint64 size = writer_.size() - payload;
    KIV_CHECK(size <= std::numeric_limits<uint32>::max());
    writer_.OverwriteUInt32(size_offset, static_cast<uint32>(size));
    baseLogger2.log(LogLevel::Debug, "BinaryOutputArchive::WriteObjectInternal",
                    "Write object type: %.*s, size: %d", static_cast<int>(type_name.size()),
                    type_name.data(), static_cast<int>(size));
}

bool BinaryOutputArchive::BeginObject(const StringView&) {
    internal::RequireRoomToNest();
    return true;
}

void BinaryOutputArchive::EndObject(const StringView&) {}

bool BinaryOutputArchive::BeginArray(const StringView&, unsigned int& size) {
    internal::RequireRoomToNest();
    writer_.AppendUInt32(size);
    return true;
}

void BinaryOutputArchive::EndArray(const StringView&) {}

bool BinaryOutputArchive::GetArrayElement(unsigned int) {
    return false;
}

void BinaryOutputArchive::ReleaseArrayElement() {}

}  // namespace kiv
