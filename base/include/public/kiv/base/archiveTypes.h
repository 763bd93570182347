// How values of a type that is known at run time only travel in archives, and how each type of the
// library does.
//
// A `Value` is stored as "type", the raw name of what it holds, and "value", the datum. To let a
// class of your own travel in a `Value`, which takes what can be copied, compared and made from
// nothing, tell how its fields are stored and register it once:
//
//     template <> struct kiv::ArchiveSerializer<Range> {
//         static void Serialize(kiv::Archive& archive, Range& range) {
//             archive.SerializeInt32("first", range.first);
//             archive.SerializeInt32("last", range.last);
//         }
//     };
//     static const kiv::ValueArchiveRegistrar<Range> range("class Range");  // its raw name
//
// Registration belongs into static initialisers: the table has no lock, and archives read it.
#ifndef KIV_BASE_ARCHIVE_TYPES_H_
#define KIV_BASE_ARCHIVE_TYPES_H_

#include <functional>
#include <map>
#include <string>
#include <utility>

#include "kiv/base/archive.h"
#include "kiv/base/array.h"
#include "kiv/base/export.h"
#include "kiv/base/geometry.h"
#include "kiv/base/stringView.h"
#include "kiv/base/timePoint.h"
#include "kiv/base/type.h"
#include "kiv/base/value.h"

namespace kiv {

namespace internal {
class PropertyPlan;
struct Treatment;
}  // namespace internal

template <>
struct KIV_BASE_API ArchiveSerializer<Value> {
    using Handler = std::function<void(Archive&, const StringView&, Value&)>;

    /// The handlers by raw type name. A later registration replaces an earlier one; none may be
    /// erased, since archives keep pointers to them.
    static std::map<std::string, Handler> value_archive_handles_;

    /// Writes the type and the datum, or reads them. An unknown type is logged and, with the option
    /// "DeserializeValue", ends the pass with `std::runtime_error`; otherwise the value stays as it
    /// was.
    static void Serialize(Archive& archive, Value& value);

    template <class T>
    static void RegisterValueArchiveType(const std::string& typeName) {
        const Type type = Type::Declare<T>();
        value_archive_handles_[typeName] = &_Handle<T>;
        _member_handles_[typeName] = {type, &_Handle<T>, &_HandleMember<T>};
    }
    template <class T>
    static void RegisterValueArchiveArrayType(const std::string& typeName) {
        RegisterValueArchiveType<Array<T>>(typeName);
    }

private:
    friend class internal::PropertyPlan;

    using PlainHandler = void (*)(Archive&, const StringView&, Value&);
    // What does for a member in place what the handler does for a `Value`.
    struct MemberHandler {
        Type type;
        PlainHandler handler = nullptr;
        void (*serialize)(Archive& archive, const StringView& name, void* member) = nullptr;
    };
    static std::map<std::string, MemberHandler> _member_handles_;

    // What stands behind the name of the type.
    static void _SerializeDatum(Archive& archive, const internal::Treatment& treatment,
                                Value& value);
    static void _ReadDatum(Archive& archive, const std::string& typeName, Value& value);
    template <class T>
    static void _Handle(Archive& archive, const StringView& name, Value& value);
    template <class T>
    static void _HandleMember(Archive& archive, const StringView& name, void* member);
};

// The records, each as an object of its fields; a plane's normal comes back with unit length.
#define KIV_DECLARE(T)                                     \
    template <>                                            \
    struct KIV_BASE_API ArchiveSerializer<T> {             \
        static void Serialize(Archive& archive, T& value); \
    };
KIV_FOR_EACH_RECORD(KIV_DECLARE)
KIV_DECLARE(TimePoint)     // "ticks"
KIV_DECLARE(Type)          // "Type": the registered name
KIV_DECLARE(Array<Posed>)  // "array"
#undef KIV_DECLARE

// A scalar stands for the whole scope: it is what an element of an array is, and has no name.
#define KIV_DEFINE(T, Name)                                                                       \
    template <>                                                                                   \
    struct ArchiveSerializer<T> {                                                                 \
        static void Serialize(Archive& archive, T& value) { archive.Serialize##Name("", value); } \
    };
KIV_FOR_EACH_ARCHIVE_SCALAR(KIV_DEFINE)
#undef KIV_DEFINE

namespace detail {

// The archive's own operation for what it knows by itself, and the structured one for the rest.
template <class T>
void SerializeDatum(Archive& archive, const StringView& name, T& value) {
    archive.Serialize(name, value);
}
#define KIV_DEFINE(T, Name)                                                          \
    inline void SerializeDatum(Archive& archive, const StringView& name, T& value) { \
        archive.Serialize##Name(name, value);                                        \
    }
KIV_FOR_EACH_ARCHIVE_SCALAR(KIV_DEFINE)
#undef KIV_DEFINE
#define KIV_DEFINE(T, Name)                                                                 \
    inline void SerializeDatum(Archive& archive, const StringView& name, Array<T>& value) { \
        archive.Serialize##Name##Array(name, value);                                        \
    }
KIV_FOR_EACH_ARCHIVE_ELEMENT(KIV_DEFINE)
#undef KIV_DEFINE

}  // namespace detail

template <class T>
void ArchiveSerializer<Value>::_Handle(Archive& archive, const StringView& name, Value& value) {
    T datum = value.Get<T>();
    detail::SerializeDatum(archive, name, datum);
    if (archive.IsRead())
        value = Value(std::move(datum));
}

template <class T>
void ArchiveSerializer<Value>::_HandleMember(Archive& archive, const StringView& name,
                                             void* member) {
    // A copy, as through a `Value`: the member changes if the whole datum was read, or not at all.
    T datum = *static_cast<const T*>(member);
    detail::SerializeDatum(archive, name, datum);
    if (archive.IsRead())
        *static_cast<T*>(member) = std::move(datum);
}

/// Registers the handlers of `T` and of `Array<T>`; used as a static object. `typeName` is the raw
/// name of `T`: a handler under any other name is never found.
template <class T>
class ValueArchiveRegistrar {
public:
    explicit ValueArchiveRegistrar(const std::string& typeName) {
        ArchiveSerializer<Value>::RegisterValueArchiveType<T>(typeName);
        ArchiveSerializer<Value>::RegisterValueArchiveArrayType<T>(GetArrayWrapperName(typeName));
    }

    /// The raw name of the array of the type of that raw name.
    static std::string GetArrayWrapperName(const std::string& typeName) {
        return "class kiv::Array<" + typeName + (typeName.ends_with('>') ? " >" : ">");
    }
};

}  // namespace kiv

#endif  // KIV_BASE_ARCHIVE_TYPES_H_
