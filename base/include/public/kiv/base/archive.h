// The two-way serializer: one call writes a datum or reads it, as the archive at hand goes.
//
//     template <>
//     struct kiv::ArchiveSerializer<Waypoint> {
//         static void Serialize(Archive& archive, Waypoint& value) {
//             int id = value.id;
//             Vector3f position = value.position;
//             archive.SerializeInt32("id", id);
//             archive.Serialize<Vector3f>("position", position);
//             if (archive.IsRead()) value = Waypoint(id, position);
//         }
//     };
//
// An output archive takes each datum from the reference that it is given, an input archive stores
// into it. Order and names of the calls are the stored form, and have to be stable: a keyed form
// finds a datum by its name, a positional one by its place. A class derived from `Object` overrides
// `Object::operator<<` if its storable properties don't say all there is to say. Whole objects are
// saved and loaded through the front ends of `serializer.h`.
//
// An archive serves one pass on one thread: construct it, load the source if it reads, serialize,
// take the result. Scopes nest strictly. A datum that is missing costs a log line, not the pass;
// contents that are malformed raise `std::invalid_argument` or `std::runtime_error`, which the
// front ends catch.
#ifndef KIV_BASE_ARCHIVE_H_
#define KIV_BASE_ARCHIVE_H_

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kiv/base/array.h"
#include "kiv/base/export.h"
#include "kiv/base/integers.h"
#include "kiv/base/object.h"
#include "kiv/base/refPtr.h"
#include "kiv/base/stringView.h"
#include "kiv/base/value.h"
#include "kiv/base/weakPtr.h"

namespace kiv {

class AnnotatingArchive;
class Archive;

namespace internal {
class PropertyPlan;
}

/// How the contents of a `T` are written and read, in a scope that the caller has opened.
/// Specialize it with `static void Serialize(Archive& archive, T& value)`, which calls the archive
/// once for each field, in a fixed order and with fixed names.
template <class T, class Enable = void>
struct ArchiveSerializer;

// The data that every archive knows by itself, as X(type, name in the operations). Everything that
// exists once for each of them expands one of these lists.
#define KIV_FOR_EACH_ARCHIVE_NUMBER(X) \
    X(signed char, Int8)               \
    X(unsigned char, UInt8)            \
    X(short, Int16)                    \
    X(unsigned short, UInt16)          \
    X(int, Int32)                      \
    X(unsigned int, UInt32)            \
    X(::kiv::int64, Int64)             \
    X(::kiv::uint64, UInt64)           \
    X(float, Float)                    \
    X(double, Double)
#define KIV_FOR_EACH_ARCHIVE_SCALAR(X) \
    X(bool, Bool)                      \
    KIV_FOR_EACH_ARCHIVE_NUMBER(X)     \
    X(std::string, String)
// `bool` travels as `std::vector<bool>` only, so it is no element of this list.
#define KIV_FOR_EACH_ARCHIVE_ELEMENT(X) \
    KIV_FOR_EACH_ARCHIVE_NUMBER(X)      \
    X(std::string, String)

// The operations of one row, with what follows their parameters: `= 0` or `override`.
#define KIV_DETAIL_ARCHIVE_SCALAR(Type, Name, End) \
    virtual Archive& Serialize##Name(const StringView& name, Type& value) End;
#define KIV_DETAIL_ARCHIVE_ARRAY(Type, Name, End)                                            \
    virtual Archive& Serialize##Name##Array(const StringView& name, Array<Type>& value) End; \
    virtual Archive& Serialize##Name##Array(const StringView& name, std::vector<Type>& value) End;
#define KIV_DETAIL_PURE_SCALAR(Type, Name) KIV_DETAIL_ARCHIVE_SCALAR(Type, Name, = 0)
#define KIV_DETAIL_PURE_ARRAY(Type, Name) KIV_DETAIL_ARCHIVE_ARRAY(Type, Name, = 0)
#define KIV_DETAIL_OVERRIDDEN_SCALAR(Type, Name) KIV_DETAIL_ARCHIVE_SCALAR(Type, Name, override)
#define KIV_DETAIL_OVERRIDDEN_ARRAY(Type, Name) KIV_DETAIL_ARCHIVE_ARRAY(Type, Name, override)

/// Declares every operation that a concrete archive has to override, in the order of `Archive`. For
/// classes in namespace `kiv`.
#define KIV_ARCHIVE_OVERRIDES                                                                      \
    bool IsRead() const override;                                                                  \
    KIV_FOR_EACH_ARCHIVE_SCALAR(KIV_DETAIL_OVERRIDDEN_SCALAR)                                      \
    Archive& SerializeBoolArray(const StringView& name, std::vector<bool>& value) override;        \
    KIV_FOR_EACH_ARCHIVE_ELEMENT(KIV_DETAIL_OVERRIDDEN_ARRAY)                                      \
    Archive& SerializeObject(const StringView& name, WeakPtr<Object>& value) override;             \
    Archive& SerializeObject(const StringView& name, RefPtr<Object>& value) override;              \
    Archive& SerializeObjectArray(const StringView& name, Array<WeakPtr<Object>>& value) override; \
    Archive& SerializeObjectArray(const StringView& name, Array<RefPtr<Object>>& value) override;  \
    bool BeginObject(const StringView& name) override;                                             \
    void EndObject(const StringView& name) override;                                               \
    bool BeginArray(const StringView& name, unsigned int& size) override;                          \
    void EndArray(const StringView& name) override;                                                \
    bool GetArrayElement(unsigned int index) override;                                             \
    void ReleaseArrayElement() override;

class KIV_BASE_API Archive {
public:
    explicit Archive(const std::unordered_map<std::string, Value>& options);
    Archive(const Archive&) = delete;
    Archive& operator=(const Archive&) = delete;
    virtual ~Archive();

    // A name is a view of zero-terminated text. Each operation on a datum yields the archive
    // itself.

    /// True for an archive that reads, false for one that writes.
    virtual bool IsRead() const = 0;

    KIV_FOR_EACH_ARCHIVE_SCALAR(KIV_DETAIL_PURE_SCALAR)
    virtual Archive& SerializeBoolArray(const StringView& name, std::vector<bool>& value) = 0;
    KIV_FOR_EACH_ARCHIVE_ELEMENT(KIV_DETAIL_PURE_ARRAY)

    /// A reference that neither keeps the object alive nor brings its contents along.
    virtual Archive& SerializeObject(const StringView& name, WeakPtr<Object>& value) = 0;
    /// An owning reference. The contents of an object are written once, however often it is met,
    /// and read back as one object.
    virtual Archive& SerializeObject(const StringView& name, RefPtr<Object>& value) = 0;
    virtual Archive& SerializeObjectArray(const StringView& name,
                                          Array<WeakPtr<Object>>& value) = 0;
    /// Reading appends to what the array holds in a keyed form, and replaces it in a positional
    /// one: pass an empty array.
    virtual Archive& SerializeObjectArray(const StringView& name, Array<RefPtr<Object>>& value) = 0;

    /// Opens the nested scope `name`. False means that it isn't there and nothing was opened; each
    /// true is matched by an `EndObject` with the same name.
    virtual bool BeginObject(const StringView& name) = 0;
    virtual void EndObject(const StringView& name) = 0;
    /// Opens the array `name`; `size` is taken on output and set on input. False and true as for
    /// `BeginObject`.
    virtual bool BeginArray(const StringView& name, unsigned int& size) = 0;
    virtual void EndArray(const StringView& name) = 0;
    /// Enters an element of the open array. A writer appends a new one and ignores `index`. False
    /// of a reader means that there are no more, whatever `BeginArray` said. Whatever the result, a
    /// `ReleaseArrayElement` has to follow.
    virtual bool GetArrayElement(unsigned int index) = 0;
    virtual void ReleaseArrayElement() = 0;

    /// A datum of a structured type, as a nested object. Left alone if a reader doesn't find it.
    template <class T>
    Archive& Serialize(const StringView& name, T& value);
    /// An array of a structured type, element by element. Reading replaces the contents, or leaves
    /// them alone if the array isn't there.
    template <class T>
    Archive& Serialize(const StringView& name, Array<T>& value);
    /// An object reference. Reading makes it null if there is no object, or one that isn't a `T`.
    template <class T>
    Archive& Serialize(const StringView& name, RefPtr<T>& value);

    /// The options of this pass, for the serialization functions of all types. The library itself
    /// reads "DeserializeValue": if it is there, a `Value` of an unknown type ends the pass.
    std::unordered_map<std::string, Value>& GetOptions() { return options; }

protected:
    /// `SerializeString("type", ...)` for a text that is known: false if a reader finds another
    /// one, which `found` then holds. An archive may override it to spare itself a copy.
    virtual bool _SerializeTypeName(const std::string& expected, std::string& found);
    /// Something that was read is not taken, and objects may have got lost with it.
    virtual void _NoteLostObjects() {}

private:
    friend class AnnotatingArchive;
    friend struct ArchiveSerializer<Value>;
    friend class internal::PropertyPlan;

    // An array of object references; an element that isn't a `T` reads as null and keeps its place.
    template <class Container, class T>
    void SerializeObjectContainer(const StringView& name, Container& value);

    // The same as the operations that they are named after, with a warning if the scope isn't
    // there.
    bool _BeginObjectOrWarn(const StringView& name);
    bool _BeginArrayOrWarn(const StringView& name, unsigned int& size);

    template <class T>
    RefPtr<T> _NarrowOrNull(RefPtr<Object> object);

    std::unordered_map<std::string, Value> options;
};

template <class T>
Archive& Archive::Serialize(const StringView& name, T& value) {
    if (!_BeginObjectOrWarn(name))
        return *this;
    ArchiveSerializer<T>::Serialize(*this, value);
    EndObject(name);
    return *this;
}

template <class T>
Archive& Archive::Serialize(const StringView& name, Array<T>& value) {
    if (IsRead()) {
        unsigned int size = 0;
        if (!_BeginArrayOrWarn(name, size))
            return *this;
        value.clear();
        for (unsigned int index = 0; index < size; ++index) {
            const bool is_there = GetArrayElement(index);
            if (is_there) {
                T element = T();
                ArchiveSerializer<T>::Serialize(*this, element);
                value.emplace_back(std::move(element));
            }
            ReleaseArrayElement();
            if (!is_there)
                break;
        }
        EndArray(name);
        return *this;
    }
    // A copy shares the buffer and is read through const access: writing detaches nothing.
    const Array<T> elements = value;
    unsigned int size = static_cast<unsigned int>(elements.size());
    BeginArray(name, size);
    for (const T& stored : elements) {
        GetArrayElement(0xFFFFFFFF);
        T element = stored;
        ArchiveSerializer<T>::Serialize(*this, element);
        ReleaseArrayElement();
    }
    EndArray(name);
    return *this;
}

template <class T>
Archive& Archive::Serialize(const StringView& name, RefPtr<T>& value) {
    if (!IsRead()) {
        RefPtr<Object> copy(value.get());
        return SerializeObject(name, copy);
    }
    RefPtr<Object> object;
    SerializeObject(name, object);
    value = _NarrowOrNull<T>(std::move(object));
    return *this;
}

template <class Container, class T>
void Archive::SerializeObjectContainer(const StringView& name, Container& value) {
    Array<RefPtr<Object>> objects;
    if (!IsRead()) {
        const Container& elements = value;
        objects.reserve(elements.size());
        for (const auto& element : elements)
            objects.emplace_back(RefPtr<Object>(element.get()));
        SerializeObjectArray(name, objects);
        return;
    }
    value.clear();
    SerializeObjectArray(name, objects);
    const Array<RefPtr<Object>>& read = objects;
    value.reserve(read.size());
    for (const RefPtr<Object>& object : read)
        value.emplace_back(_NarrowOrNull<T>(object));
}

template <class T>
RefPtr<T> Archive::_NarrowOrNull(RefPtr<Object> object) {
    if (!object)
        return RefPtr<T>();
    if (!object->template IsInstanceOf<T>()) {
        _NoteLostObjects();
        return RefPtr<T>();
    }
    return RefPtr<T>::Adopt(static_cast<T*>(object.Release()));
}

}  // namespace kiv

#endif  // KIV_BASE_ARCHIVE_H_
