#include <cinttypes>
#include <string>
#include <utility>

#include "archive/binaryCodec.h"
#include "archive/idMap.h"
#include "archive/nesting.h"
#include "archive/readObjects.h"
#include "kiv/base/annotatingArchive.h"
#include "kiv/base/binaryArchive.h"
#include "kiv/base/logging.h"
#include "kiv/base/type.h"

namespace kiv {
namespace {

constexpr char kObjectTag[] = "BinaryInputArchive::ReadObjectInternal";

// The least room that an element takes in the stream.
constexpr uint64 kSmallestString = sizeof(uint32);
constexpr uint64 kSmallestRecord = internal::kRecordHeadSize;
constexpr uint64 kSmallestElement = 1;  // of a list of which nothing else is known

}  // namespace

using internal::RecordTag;

struct BinaryInputArchive::KnownObjects {
    explicit KnownObjects(const std::unordered_map<std::string, Value>& options)
        : objects(options) {}

    internal::ReadObjects objects;
    internal::IdMap<Object*> by_id;  // of these, the last one of each id
    Type last_type;
};

BinaryInputArchive::BinaryInputArchive(const std::vector<unsigned char>& buffer,
                                       const std::unordered_map<std::string, Value>& given)
    : BinaryInputArchive(ArrayView<const unsigned char>(buffer), given) {}

BinaryInputArchive::BinaryInputArchive(ArrayView<const unsigned char> bytes,
                                       const std::unordered_map<std::string, Value>& given)
    : BinaryArchive(given), reader_(bytes), known_(std::make_unique<KnownObjects>(GetOptions())) {}

BinaryInputArchive::~BinaryInputArchive() = default;

bool BinaryInputArchive::IsRead() const {
    return true;
}

uint64 BinaryInputArchive::_Offset() const {
    return reader_.position();
}

// One message a pass: what is missing later follows from the first.
void BinaryInputArchive::_ReportDamage(const char* what) {
    known_->objects.NoteLoss();
    if (std::exchange(is_damaged_, true))
        return;
    baseLogger2.log(LogLevel::Error, "BinaryInputArchive",
                    "The stream is damaged: %s at offset %" PRIu64 ", with %" PRIu64 " bytes left",
                    what, reader_.position(), reader_.remaining());
}

// The next so many bytes, which are stepped over; or null if there aren't so many.
const unsigned char* BinaryInputArchive::_Take(uint64 size) {
    StringView bytes;
    if (!reader_.ReadStringView(&bytes, size)) {
        _ReportDamage("it ends inside of a datum");
        return nullptr;
    }
    return reinterpret_cast<const unsigned char*>(bytes.data());
}

// 0 for a count of elements that can't all be there.
unsigned int BinaryInputArchive::_ReadCount(uint64 element_size) {
    const unsigned char* const encoded = _Take(sizeof(uint32));
    if (!encoded)
        return 0;
    const unsigned int count = internal::Decode<uint32>(encoded);
    if (count > reader_.remaining() / element_size) {
        _ReportDamage("a count is larger than what is left allows");
        return 0;
    }
    return count;
}

template <class T>
Archive& BinaryInputArchive::_ReadNumber(T& value) {
    if (const unsigned char* const encoded = _Take(internal::kEncodedSize<T>))
        value = internal::Decode<T>(encoded);
    return *this;
}

StringView BinaryInputArchive::_ReadText() {
    const unsigned int size = _ReadCount(1);
    return StringView(reinterpret_cast<const char*>(_Take(size)), size);
}

void BinaryInputArchive::_ReadString(std::string& value) {
    const StringView text = _ReadText();
    value.assign(text.data(), text.size());
}

template <class List>
Archive& BinaryInputArchive::_ReadNumbers(List& values) {
    constexpr uint64 kSize = internal::kEncodedSize<typename List::value_type>;
    const unsigned int count = _ReadCount(kSize);
    internal::DecodeAll(_Take(count * kSize), count, values);
    return *this;
}

template <class List>
Archive& BinaryInputArchive::_ReadStrings(List& values) {
    const unsigned int count = _ReadCount(kSmallestString);
    values.clear();
    values.resize(count);
    for (std::string& value : values)
        _ReadString(value);
    return *this;
}

bool BinaryInputArchive::_SerializeTypeName(const std::string& expected, std::string& found) {
    const StringView text = _ReadText();
    if (text == StringView(expected))
        return true;
    found = std::string(text);
    return false;
}

#define KIV_READ_NUMBER(Type, Name)                                                \
    Archive& BinaryInputArchive::Serialize##Name(const StringView&, Type& value) { \
        return _ReadNumber(value);                                                 \
    }
KIV_READ_NUMBER(bool, Bool)
KIV_FOR_EACH_ARCHIVE_NUMBER(KIV_READ_NUMBER)
#undef KIV_READ_NUMBER

Archive& BinaryInputArchive::SerializeString(const StringView&, std::string& value) {
    _ReadString(value);
    return *this;
}

#define KIV_READ_LIST(List, Name, Read)                                                   \
    Archive& BinaryInputArchive::Serialize##Name##Array(const StringView&, List& value) { \
        return Read(value);                                                               \
    }
#define KIV_READ_LISTS(Type, Name)                 \
    KIV_READ_LIST(Array<Type>, Name, _ReadNumbers) \
    KIV_READ_LIST(std::vector<Type>, Name, _ReadNumbers)
KIV_READ_LIST(std::vector<bool>, Bool, _ReadNumbers)
KIV_FOR_EACH_ARCHIVE_NUMBER(KIV_READ_LISTS)
KIV_READ_LIST(Array<std::string>, String, _ReadStrings)
KIV_READ_LIST(std::vector<std::string>, String, _ReadStrings)
#undef KIV_READ_LISTS
#undef KIV_READ_LIST

// Weak references aren't restored: nothing would keep alive what only they refer to.
Archive& BinaryInputArchive::SerializeObject(const StringView&, WeakPtr<Object>&) {
    _StepOverReference();
    return *this;
}

Archive& BinaryInputArchive::SerializeObject(const StringView&, RefPtr<Object>& value) {
    value = _ReadReference();
    return *this;
}

Archive& BinaryInputArchive::SerializeObjectArray(const StringView&, Array<WeakPtr<Object>>&) {
    for (unsigned int count = _ReadObjectCount(); count > 0; --count)
        _StepOverReference();
    return *this;
}

Archive& BinaryInputArchive::SerializeObjectArray(const StringView&, Array<RefPtr<Object>>& value) {
    const unsigned int count = _ReadObjectCount();
    // Aside, since the contents of an object may look at the list that it stands in.
    Array<RefPtr<Object>> objects;
    objects.reserve(count);
    for (unsigned int i = 0; i < count; ++i)
        objects.emplace_back(_ReadReference());
    value.swap(objects);
    return *this;
}

void BinaryInputArchive::_StepOverReference() {
    const uint64 start = reader_.position();
    ReadObject();
    if (reader_.position() - start > internal::kRecordHeadSize)
        known_->objects.NoteLoss();  // no writer puts a full record there
}

unsigned int BinaryInputArchive::_ReadObjectCount() {
    const uint64 start = reader_.position();
    const unsigned int count = _ReadCount(kSmallestRecord);
    if (annotator_)
        annotator_->_OnObjectCount(start, count);
    return count;
}

void BinaryInputArchive::_NoteLostObjects() {
    known_->objects.TakeBack();
}

RefPtr<Object> BinaryInputArchive::_ReadReference() {
    RefPtr<Object> object = ReadObject();
    known_->objects.HandOut(object.get());
    return object;
}

RefPtr<Object> BinaryInputArchive::ReadObject() {
    const uint64 start = reader_.position();
    const unsigned char* const head = _Take(internal::kRecordHeadSize);
    if (!head)
        return nullptr;
    const RecordTag tag{head[0]};
    const uint64 id = internal::Decode<uint64>(head + 1);
    if (tag == RecordTag::kFull)
        return ReadObjectInternal(id);
    if (annotator_)
        annotator_->_OnRecord(start, tag, id, StringView());
    if (tag == RecordTag::kReference) {
        Object* const* const object = known_->by_id.Find(id);
        return RefPtr<Object>(object ? *object : nullptr);
    }
    if (tag != RecordTag::kNull) {
        known_->objects.NoteLoss();
        baseLogger2.log(LogLevel::Error, "BinaryInputArchive::ReadObject",
                        "Unknown object type: %d", head[0]);
    }
    return nullptr;
}

RefPtr<Object> BinaryInputArchive::ReadObjectInternal(uint64 id) {
    internal::RequireRoomToNest();
    const uint64 start = reader_.position() - internal::kRecordHeadSize;
    const StringView type_name = _ReadText();
    uint32 size = 0;
    _ReadNumber(size);
    if (annotator_)
        annotator_->_OnRecord(start, RecordTag::kFull, id, type_name);

    // Objects of one type come in rows.
    Type& type = known_->last_type;
    if (type == Type() || type.GetName() != type_name)
        type = Type::Find(type_name);
    if (type == Type()) {
        baseLogger2.log(LogLevel::Error, kObjectTag,
                        "Can't find object type: %s, size: %d, Please regester it.",
                        std::string(type_name).c_str(), static_cast<int>(size));
        _StepOver(size);
        return nullptr;
    }
    const RefPtr<Object> object = type._CreateObject();
    if (!object) {
        baseLogger2.log(LogLevel::Error, kObjectTag, "Object type %s can't be created.",
                        std::string(type_name).c_str());
        _StepOver(size);
        return nullptr;
    }
    baseLogger2.log(LogLevel::Debug, kObjectTag, "Start reading object. Type: %.*s, Size: %d",
                    static_cast<int>(type_name.size()), type_name.data(), static_cast<int>(size));
    const uint64 payload = reader_.position();
    const auto fill = [&] {
        // Entered before it is filled, so that a reference back to it from inside finds it.
        known_->by_id.Insert(id) = object.get();
        *object << _ContentsArchive();
    };
    const auto forget = [this](uint64 dropped, Object* forgotten) {
        Object** const known = known_->by_id.Find(dropped);
        if (known && *known == forgotten)
            *known = nullptr;
    };
    known_->objects.Read(id, object, fill, forget);
    if (reader_.position() - payload != size)
        known_->objects.NoteLoss();
    baseLogger2.log(LogLevel::Debug, kObjectTag, "Finished reading object. Type: %.*s, Size: %d",
                    static_cast<int>(type_name.size()), type_name.data(), static_cast<int>(size));
    return object;
}

void BinaryInputArchive::_StepOver(uint64 size) {
    const uint64 start = reader_.position();
    if (!reader_.Consume(size))
        return _ReportDamage("an object claims to be larger than what is left");
    if (annotator_)
        annotator_->_OnSteppedOver(start);
}

bool BinaryInputArchive::BeginObject(const StringView&) {
    internal::RequireRoomToNest();
    return true;
}

void BinaryInputArchive::EndObject(const StringView&) {}

bool BinaryInputArchive::BeginArray(const StringView&, unsigned int& size) {
    internal::RequireRoomToNest();
    size = _ReadCount(kSmallestElement);
    return true;
}

void BinaryInputArchive::EndArray(const StringView&) {}

// Where the stream has ended there are no more, whatever the count.
bool BinaryInputArchive::GetArrayElement(unsigned int) {
    return !is_damaged_;
}

void BinaryInputArchive::ReleaseArrayElement() {}

}  // namespace kiv
