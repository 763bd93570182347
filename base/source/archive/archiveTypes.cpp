#include "kiv/base/archiveTypes.h"

#include <string>
#include <string_view>

#include "archive/builtInTypes.h"

namespace kiv {
namespace {

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
