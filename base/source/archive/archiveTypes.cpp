#include "kiv/base/archiveTypes.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "archive/builtInTypes.h"
#include "kiv/base/logging.h"
#include "kiv/base/object.h"

namespace kiv {
namespace {

constexpr char kTag[] = "kiv::ArchiveSerializer<class kiv::Value,void>::Serialize";

using Handler = ArchiveSerializer<Value>::Handler;
using Objects = Array<RefPtr<Object>>;

const Handler* FindHandler(const std::string& typeName) {
    const auto& handlers = ArchiveSerializer<Value>::value_archive_handles_;
    const auto found = handlers.find(typeName);
    return found == handlers.end() ? nullptr : &found->second;
}

/// How the datum of a stored type is to be treated.
struct Treatment {
    enum Kind : unsigned char { kUnknown, kNone, kHandler, kObject, kObjects };
    Kind kind = kUnknown;
    const Handler* handler = nullptr;
};

bool Contains(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

Treatment FindTreatment(bool reads, const Value& value, const std::string& typeName) {
    if (StringView(typeName) == Type().GetRawName())
        return {Treatment::kNone};
    if (const Handler* const handler = FindHandler(typeName))
        return {Treatment::kHandler, handler};
    if (reads) {
        // The text of the name is enough: a reference to any class comes back as one to its object.
        if (!Contains(typeName, "kiv::RefPtr"))
            return {};
        return {Contains(typeName, "kiv::Array") ? Treatment::kObjects : Treatment::kObject};
    }
    if (value.Is<RefPtr<Object>>())
        return {Treatment::kObject};
    return {value.Is<Objects>() ? Treatment::kObjects : Treatment::kUnknown};
}

/// What a thread found last for a type that is known by the address of its raw name. The table
/// drops nothing and keeps its handlers where they are, and a class stays what it is: so what was
/// found stays right, but for a handler that takes the place of another treatment, with which the
/// table has grown.
class TreatmentCache {
public:
    Treatment Find(bool reads, const Value& value, StringView held, const std::string& typeName) {
        const std::size_t size = ArchiveSerializer<Value>::value_archive_handles_.size();
        const auto address = reinterpret_cast<std::uintptr_t>(held.data());
        Entry& entry = entries_[reads][(address ^ address >> 7) % kSize];
        const bool known = entry.name == held.data() &&
                           entry.treatment.kind != Treatment::kUnknown &&
                           (entry.treatment.handler || entry.size == size);
        if (!known)
            entry = {held.data(), size, FindTreatment(reads, value, typeName)};
        return entry.treatment;
    }

private:
    static constexpr std::size_t kSize = 64;
    struct Entry {
        const char* name = nullptr;
        std::size_t size = 0;
        Treatment treatment;
    };
    Entry entries_[2][kSize];  // of writers and readers
};

constinit thread_local TreatmentCache treatments;

/// A string whose memory the thread uses again.
class ScratchText {
public:
    ScratchText() : text(std::move(_Kept())) {}
    ScratchText(const ScratchText&) = delete;
    ScratchText& operator=(const ScratchText&) = delete;
    ~ScratchText() {
        if (text.capacity() <= kLongestKept)
            _Kept() = std::move(text);
    }

    std::string text;

private:
    // A name from a foreign document may be of any length.
    static constexpr std::size_t kLongestKept = 4096;

    static std::string& _Kept() {
        static thread_local std::string kept;
        return kept;
    }
};

void RefuseUnknown(Archive& archive, const std::string& typeName) {
    baseLogger2.log(
        LogLevel::Error, kTag,
        "Unknown kiv::Value type: %s, Please register it like archiveTypes/archiveTypes. "
        "1. Achive ArchiveSerializer<T>; 2. Define static ValueArchiveRegistrar<T>.",
        typeName.c_str());
    if (archive.GetOptions().contains("DeserializeValue"))
        throw std::runtime_error("Unknown kiv::Value type");
}

/// Passes the fields of a copy of `value` through the archive, and takes the copy over if it was
/// read.
template <class T, class Fields>
void SerializeFields(Archive& archive, T& value, Fields&& fields) {
    T copy = value;
    fields(copy);
    if (archive.IsRead())
        value = copy;
}

}  // namespace

void ArchiveSerializer<Value>::Serialize(Archive& archive, Value& value) {
    Treatment treatment;
    {
        const StringView held = value.GetType().GetRawName();
        ScratchText name;
        name.text.assign(held.data(), held.size());
        archive.SerializeString("type", name.text);
        const bool reads = archive.IsRead();
        treatment = StringView(name.text) == held ? treatments.Find(reads, value, held, name.text)
                                                  : FindTreatment(reads, value, name.text);
        if (treatment.kind == Treatment::kUnknown)
            return RefuseUnknown(archive, name.text);
    }
    switch (treatment.kind) {
        case Treatment::kHandler:
            (*treatment.handler)(archive, "value", value);
            return;
        case Treatment::kObject: {
            RefPtr<Object> object;
            if (!archive.IsRead())
                object = value.Get<RefPtr<Object>>();
            archive.Serialize<Object>("value", object);
            if (archive.IsRead())
                value = Value(std::move(object));
            return;
        }
        case Treatment::kObjects: {
            Objects objects;
            if (!archive.IsRead())
                objects = value.Get<Objects>();
            archive.SerializeObjectContainer<Objects, Object>("value", objects);
            if (archive.IsRead())
                value = Value(std::move(objects));
            return;
        }
        case Treatment::kNone:
        case Treatment::kUnknown:
            return;
    }
}

// One row a record: its fields in the order and under the names of the stored form.
#define KIV_FIELD(name) detail::SerializeDatum(archive, #name, copy.name);
#define KIV_FIELDS2(a, b) KIV_FIELD(a) KIV_FIELD(b)
#define KIV_FIELDS3(a, b, c) KIV_FIELDS2(a, b) KIV_FIELD(c)
#define KIV_FIELDS4(a, b, c, d) KIV_FIELDS3(a, b, c) KIV_FIELD(d)
#define KIV_SERIALIZER(T, Fields)                                        \
    void ArchiveSerializer<T>::Serialize(Archive& archive, T& value) {   \
        SerializeFields(archive, value, [&archive](T& copy) { Fields }); \
    }
KIV_SERIALIZER(Vector2d, KIV_FIELDS2(x, y))
KIV_SERIALIZER(Vector2f, KIV_FIELDS2(x, y))
KIV_SERIALIZER(Vector2i, KIV_FIELDS2(x, y))
KIV_SERIALIZER(Vector3d, KIV_FIELDS3(x, y, z))
KIV_SERIALIZER(Vector3f, KIV_FIELDS3(x, y, z))
KIV_SERIALIZER(Vector3i, KIV_FIELDS3(x, y, z))
KIV_SERIALIZER(Vector4d, KIV_FIELDS4(x, y, z, w))
KIV_SERIALIZER(Vector4f, KIV_FIELDS4(x, y, z, w))
KIV_SERIALIZER(Vector4i, KIV_FIELDS4(x, y, z, w))
KIV_SERIALIZER(Quaterniond, KIV_FIELDS4(x, y, z, w))
KIV_SERIALIZER(Quaternionf, KIV_FIELDS4(x, y, z, w))
KIV_SERIALIZER(Size2d, KIV_FIELDS2(width, height))
KIV_SERIALIZER(Size2f, KIV_FIELDS2(width, height))
KIV_SERIALIZER(Size2i, KIV_FIELDS2(width, height))
KIV_SERIALIZER(Size3d, KIV_FIELDS3(x, y, z))
KIV_SERIALIZER(Size3f, KIV_FIELDS3(x, y, z))
KIV_SERIALIZER(Size3i, KIV_FIELDS3(x, y, z))
KIV_SERIALIZER(Box2i, KIV_FIELDS2(min, max))
KIV_SERIALIZER(Box3f, KIV_FIELDS2(min, max))
KIV_SERIALIZER(Color, KIV_FIELDS4(r, g, b, a))
KIV_SERIALIZER(Colorf, KIV_FIELDS4(r, g, b, a))
KIV_SERIALIZER(Matrix3d, KIV_FIELDS3(col0, col1, col2))
KIV_SERIALIZER(Matrix3f, KIV_FIELDS3(col0, col1, col2))
KIV_SERIALIZER(Matrix3i, KIV_FIELDS3(col0, col1, col2))
KIV_SERIALIZER(Matrix4d, KIV_FIELDS4(col0, col1, col2, col3))
KIV_SERIALIZER(Matrix4f, KIV_FIELDS4(col0, col1, col2, col3))
KIV_SERIALIZER(Matrix4i, KIV_FIELDS4(col0, col1, col2, col3))
KIV_SERIALIZER(Posed, KIV_FIELDS2(position, rotation))
KIV_SERIALIZER(Posef, KIV_FIELDS2(position, rotation))

// A plane is read with a normal of unit length; writing stores it as it is.
#define KIV_UNIT_NORMAL   \
    if (archive.IsRead()) \
        copy.normal = copy.normal.Normalize();
KIV_SERIALIZER(Planed, KIV_FIELDS2(normal, distance) KIV_UNIT_NORMAL)
KIV_SERIALIZER(Planef, KIV_FIELDS2(normal, distance) KIV_UNIT_NORMAL)
#undef KIV_UNIT_NORMAL
#undef KIV_SERIALIZER
#undef KIV_FIELDS4
#undef KIV_FIELDS3
#undef KIV_FIELDS2
#undef KIV_FIELD

void ArchiveSerializer<Array<Posed>>::Serialize(Archive& archive, Array<Posed>& value) {
    archive.Serialize<Posed>("array", value);
}

void ArchiveSerializer<TimePoint>::Serialize(Archive& archive, TimePoint& value) {
    int64 ticks = value.ToTicks();
    archive.SerializeInt64("ticks", ticks);
    if (archive.IsRead())
        value = TimePoint::FromTicks(ticks);
}

void ArchiveSerializer<Type>::Serialize(Archive& archive, Type& value) {
    // No registered name holds a zero byte, so this one stays only where a reader finds none.
    constexpr std::string_view kMissing("\0", 1);
    std::string name(archive.IsRead() ? kMissing : std::string_view(value.GetName()));
    archive.SerializeString("Type", name);
    if (archive.IsRead() && name != kMissing)
        value = Type::Find(name);
}

void RegisterBuiltInArchiveTypes() {
#define KIV_REGISTER(T) ValueArchiveRegistrar<T>(std::string(detail::RawName<T>()));
    KIV_FOR_EACH_BASIC_VALUE(KIV_REGISTER)
    KIV_FOR_EACH_RECORD(KIV_REGISTER)
    KIV_REGISTER(Array<Posed>)
#undef KIV_REGISTER
}

}  // namespace kiv
