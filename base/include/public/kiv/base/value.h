// A container for one value of any reflected type, in two machine words.
//
//     Value value(5);
//     Status status;
//     int count = value.Get<int>(&status);      // 5
//     value.Get<double>(&status);               // 0.0 and Status::InvalidCast
//
// Nothing is converted, numbers included.
//
// Plain data of up to eight bytes lies inside; everything else lies in a shared block that never
// changes, so that copying a `Value` never copies a payload. Which types it takes says the concept
// `ValueType`: numbers and enumerations, the library's records, arrays and strings, references to
// objects, and a module's own classes that can be copied, compared and made from nothing.
//
// One thread at a time may write a `Value`; values that share a block may be used on several.
#ifndef KIV_BASE_VALUE_H_
#define KIV_BASE_VALUE_H_

#include <atomic>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <utility>

#include "kiv/base/array.h"
#include "kiv/base/export.h"
#include "kiv/base/geometry.h"
#include "kiv/base/integers.h"
#include "kiv/base/refPtr.h"
#include "kiv/base/status.h"
#include "kiv/base/token.h"
#include "kiv/base/type.h"
#include "kiv/base/weakPtr.h"

namespace kiv {

class Object;
class Value;

// The types that the library itself instantiates. One row is all it takes to add one; each comes
// with the array of it.
#define KIV_FOR_EACH_BASIC_VALUE(X) \
    X(bool)                         \
    X(signed char)                  \
    X(unsigned char)                \
    X(short)                        \
    X(unsigned short)               \
    X(int)                          \
    X(unsigned int)                 \
    X(::kiv::int64)                 \
    X(::kiv::uint64)                \
    X(float)                        \
    X(double)                       \
    X(std::string)
#define KIV_FOR_EACH_VALUE_ELEMENT(X) \
    KIV_FOR_EACH_BASIC_VALUE(X)       \
    KIV_FOR_EACH_RECORD(X)            \
    X(::kiv::RefPtr<::kiv::Object>)   \
    X(::kiv::Token)
// The arrays that exist beside those of the values, and the one array of arrays that a value holds.
#define KIV_FOR_EACH_OTHER_ARRAY(X) \
    X(::kiv::StringView)            \
    X(::kiv::Value)                 \
    X(::kiv::WeakPtr<::kiv::Object>)

#define KIV_EXTERN(T) extern template class KIV_BASE_TEMPLATE_EXTERN Array<T>;
KIV_FOR_EACH_VALUE_ELEMENT(KIV_EXTERN)
KIV_FOR_EACH_OTHER_ARRAY(KIV_EXTERN)
KIV_EXTERN(Array<Posed>)
#undef KIV_EXTERN

namespace detail {

struct ValueStorage {
    alignas(double) unsigned char bytes[8];
};

/// The functions of one held type. A module that instantiates a type for itself has a table of its
/// own for it, so a table's address says nothing about the type.
struct alignas(8) ValueTypeInfo {
    /// The held type; null until the module at hand makes its first value of it.
    mutable std::atomic<TypeInfo*> type;
    /// Makes `to`, which is raw, a copy of `from`.
    void (*_CopyInit)(const ValueStorage& from, ValueStorage& to);
    /// Releases the contents.
    void (*_Destroy)(ValueStorage& storage) noexcept;
    /// Hands the contents to `to`, which is raw, and leaves `from` with nothing to release.
    void (*_Move)(ValueStorage& from, ValueStorage& to) noexcept;
    bool (*_Equal)(const ValueStorage& a, const ValueStorage& b);
    /// For references to objects and arrays of them, null otherwise: how many there are, and the
    /// one at an index. Reading a `RefPtr` to a derived class as one to its base through these,
    /// instead of through a cast of the storage, keeps to what the compiler may assume of types.
    uint64 (*_ObjectCount)(const ValueStorage& storage);
    Object* (*_ObjectAt)(const ValueStorage& storage, uint64 index);
};

/// Holds a block that counts its references itself, beginning with 0.
template <class T>
class IntrusivePtr {
public:
    explicit IntrusivePtr(T* block) noexcept : block_(block) { block_->count.fetch_add(1); }
    IntrusivePtr(const IntrusivePtr& other) noexcept : IntrusivePtr(other.block_) {}
    IntrusivePtr(IntrusivePtr&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
    IntrusivePtr& operator=(const IntrusivePtr&) = delete;
    ~IntrusivePtr() {
        if (block_ && block_->count.fetch_sub(1) == 1)
            delete block_;
    }
    T* get() const { return block_; }

private:
    T* block_;
};

template <class T>
inline constexpr bool is_ref_ptr = false;
template <class T>
inline constexpr bool is_ref_ptr<RefPtr<T>> = true;
template <class T>
inline constexpr bool is_array = false;
template <class T>
inline constexpr bool is_array<Array<T>> = true;
template <class T>
inline constexpr bool is_ref_ptr_array = false;
template <class T>
inline constexpr bool is_ref_ptr_array<Array<RefPtr<T>>> = true;

/// The type that a `Value` holds for a `T`: the 64-bit integer that has no name of its own in the
/// stored formats is held as the one that has.
template <class T>
struct StoredAs {
    using type = T;
};
template <>
struct StoredAs<OtherLong> {
    using type = std::conditional_t<sizeof(OtherLong) == 8, int64, int32>;
};
template <>
struct StoredAs<OtherUnsignedLong> {
    using type = std::conditional_t<sizeof(OtherUnsignedLong) == 8, uint64, uint32>;
};

template <class T, class... Candidates>
concept OneOf = (std::same_as<T, Candidates> || ...);

template <class T>
concept ValueNumber = OneOf<T, bool, signed char, unsigned char, short, unsigned short, int,
                            unsigned int, int64, uint64, float, double>;

// An array in an array is read in place, so it must not hold references, which are converted.
template <class T>
inline constexpr bool fits_in_value = true;
// The elements of an array are stored as they are, so they must be of a type that is stored as
// itself.
template <class T>
inline constexpr bool fits_in_value<Array<T>> = std::is_same_v<T, typename StoredAs<T>::type>;
template <class T>
inline constexpr bool fits_in_value<Array<Array<T>>> = !is_ref_ptr<T> && fits_in_value<Array<T>>;

template <class T>
concept ValueClass =
    std::is_class_v<T> && !OneOf<T, Value, StringView, std::string_view> && fits_in_value<T> &&
    std::copy_constructible<T> && std::default_initializable<T> && std::equality_comparable<T>;

}  // namespace detail

/// What a `Value` can hold as it is.
template <class T>
concept ValueType = detail::ValueNumber<T> || std::is_enum_v<T> || detail::ValueClass<T>;

namespace detail {

/// True if a `T` lies inside the `Value`.
template <class T>
inline constexpr bool is_local_value = std::is_trivially_copyable_v<T> &&
                                       sizeof(T) <= sizeof(ValueStorage) &&
                                       alignof(T) <= alignof(ValueStorage);

template <class T>
struct LocalValueTypeInfo {
    static constexpr bool local = true;

    static const T& Get(const ValueStorage& storage) {
        return *std::launder(reinterpret_cast<const T*>(storage.bytes));
    }
    static void _PlaceCopy(const T& value, ValueStorage& to) {
        // The rest is never looked at, but a copy of all eight bytes should not read raw memory.
        if constexpr (sizeof(T) < sizeof(ValueStorage))
            std::memset(to.bytes, 0, sizeof(to.bytes));
        ::new (static_cast<void*>(to.bytes)) T(value);
    }
    static void _CopyInit(const ValueStorage& from, ValueStorage& to) { to = from; }
    static void _Destroy(ValueStorage&) noexcept {}
    static void _Move(ValueStorage& from, ValueStorage& to) noexcept { to = from; }
};

template <class T>
struct RemoteValueTypeInfo {
    static constexpr bool local = false;

    struct _Counted {
        T value;
        std::atomic<uint32> count = 0;
    };
    using Storage = IntrusivePtr<_Counted>;

    static const T& Get(const ValueStorage& storage) { return _Block(storage).get()->value; }
    template <class From>
    static void _PlaceCopy(From&& value, ValueStorage& to) {
        ::new (static_cast<void*>(to.bytes))
            Storage(new _Counted{T(std::forward<From>(value)), {}});
    }
    static void _CopyInit(const ValueStorage& from, ValueStorage& to) {
        ::new (static_cast<void*>(to.bytes)) Storage(_Block(from));
    }
    static void _Destroy(ValueStorage& storage) noexcept { _Block(storage).~Storage(); }
    static void _Move(ValueStorage& from, ValueStorage& to) noexcept {
        ::new (static_cast<void*>(to.bytes)) Storage(std::move(_Block(from)));
    }

private:
    static Storage& _Block(ValueStorage& storage) {
        return *std::launder(reinterpret_cast<Storage*>(storage.bytes));
    }
    static const Storage& _Block(const ValueStorage& storage) {
        return *std::launder(reinterpret_cast<const Storage*>(storage.bytes));
    }
};

template <class T>
using ValuePolicy =
    std::conditional_t<is_local_value<T>, LocalValueTypeInfo<T>, RemoteValueTypeInfo<T>>;

/// Reads the references that a `T` holds; null functions for other types.
template <class T>
struct ObjectReader {
    static constexpr bool reads = false;
    static constexpr uint64 (*count)(const ValueStorage&) = nullptr;
    static constexpr Object* (*at)(const ValueStorage&, uint64) = nullptr;
};

template <class T>
requires(std::is_base_of_v<Object, T> && !std::is_const_v<T>) struct ObjectReader<RefPtr<T>> {
    static constexpr bool reads = true;
    static uint64 count(const ValueStorage&) { return 1; }
    static Object* at(const ValueStorage& storage, uint64) {
        return ValuePolicy<RefPtr<T>>::Get(storage).get();
    }
};

template <class T>
requires(std::is_base_of_v<Object, T> &&
         !std::is_const_v<T>) struct ObjectReader<Array<RefPtr<T>>> {
    static constexpr bool reads = true;
    static const Array<RefPtr<T>>& Elements(const ValueStorage& storage) {
        return ValuePolicy<Array<RefPtr<T>>>::Get(storage);
    }
    static uint64 count(const ValueStorage& storage) { return Elements(storage).size(); }
    static Object* at(const ValueStorage& storage, uint64 index) {
        return Elements(storage)[index].get();
    }
};

template <class T, class Policy = ValuePolicy<T>>
struct ValueTypeInfoImpl : ValueTypeInfo {
    constexpr ValueTypeInfoImpl()
        : ValueTypeInfo{{nullptr},
                        &Policy::_CopyInit,
                        &Policy::_Destroy,
                        &Policy::_Move,
                        [](const ValueStorage& a, const ValueStorage& b) -> bool {
                            return Policy::Get(a) == Policy::Get(b);
                        },
                        ObjectReader<T>::count,
                        ObjectReader<T>::at} {}
};

/// An owner that forgot the type of what it owns.
class AnyUniquePtr {
public:
    template <class T>
    static AnyUniquePtr Make() {
        return AnyUniquePtr(new T(), &_Delete<T>);
    }
    AnyUniquePtr(AnyUniquePtr&& other) noexcept
        : pointer_(std::exchange(other.pointer_, nullptr)), deleter_(other.deleter_) {}
    AnyUniquePtr& operator=(AnyUniquePtr&&) = delete;
    ~AnyUniquePtr() { deleter_(pointer_); }
    const void* get() const { return pointer_; }

private:
    AnyUniquePtr(void* pointer, void (*deleter)(const void*))
        : pointer_(pointer), deleter_(deleter) {}
    template <class T>
    static void _Delete(const void* pointer) {
        delete static_cast<const T*>(pointer);
    }

    void* pointer_;
    void (*deleter_)(const void*);
};

/// The instance that a failed `Get` hands out.
struct DefaultValueHolder {
    template <class T>
    static DefaultValueHolder Create() {
        return {AnyUniquePtr::Make<T>(), Type::Declare<T>()};
    }

    AnyUniquePtr instance;
    Type type;
};

template <class T>
struct DefaultValueFactory {
    static DefaultValueHolder Invoke() { return DefaultValueHolder::Create<T>(); }
};

}  // namespace detail

class KIV_BASE_API Value {
public:
    /// Empty: of type `Type()`, and equal to every other empty value.
    Value() noexcept : storage_{}, info_(0) {}
    template <class T>
    requires ValueType<typename detail::StoredAs<T>::type> Value(const T& value) : info_(0) {
        _Init<typename detail::StoredAs<T>::type>(value);
    }
    /// The same for a value that can be moved from.
    template <class T>
    requires(!std::is_reference_v<T> && !std::is_const_v<T> && ValueType<T>) Value(T&& value)
        : info_(0) {
        _Init<T>(std::move(value));
    }
    Value(const Value& other) : storage_(other.storage_), info_(other.info_) {
        if (!_IsPlain()) [[unlikely]]
            other._Table()._CopyInit(other.storage_, storage_);
    }
    /// The source is empty afterwards.
    Value(Value&& other) noexcept
        : storage_(other.storage_), info_(std::exchange(other.info_, 0)) {}
    Value& operator=(const Value& other) {
        _Copy(other, *this);
        return *this;
    }
    Value& operator=(Value&& other) noexcept {
        _Move(other, *this);
        return *this;
    }
    ~Value() {
        if (!_IsPlain()) [[unlikely]]
            _Table()._Destroy(storage_);
    }

    bool IsEmpty() const { return info_ == 0; }
    Type GetType() const { return IsEmpty() ? Type() : _HeldType(); }

    /// Values of different types are never equal; `T`'s own operator decides on the others.
    bool operator==(const Value& other) const;

    /// True if `Get<T>` would succeed, but for references that are null.
    template <class T>
    requires ValueType<typename detail::StoredAs<T>::type>
    bool Is() const {
        using Stored = typename detail::StoredAs<T>::type;
        if constexpr (detail::ObjectReader<Stored>::reads)
            return _TypeIs(Type::Declare<Stored>());
        else
            return _Holds<Stored>();
    }
    /// The contents in place, or null if they are not of exactly this type.
    template <class T>
    requires ValueType<T>
    const T* GetIf() const {
        return _Holds<T>() ? &detail::ValuePolicy<T>::Get(storage_) : nullptr;
    }

    /// The contents, if they can be used as a `T`; otherwise `Status::InvalidCast` and a
    /// value-initialised `T`, which lives as long as the library. The reference is valid for as
    /// long as this value or a copy that shares its block holds the contents.
    template <class T>
    requires(ValueType<T> && !detail::is_ref_ptr<T> &&
             !detail::is_ref_ptr_array<T>) const T& Get(Status* status = nullptr) const& {
        if (_Holds<T>()) [[likely]] {
            if (status)
                *status = Status::Success;
            return detail::ValuePolicy<T>::Get(storage_);
        }
        if (status)
            *status = Status::InvalidCast;
        return *static_cast<const T*>(
            _FailGet(&detail::DefaultValueFactory<T>::Invoke, Type::Declare<T>()));
    }
    /// The same by value, since a temporary takes its contents along.
    template <class T>
    requires(ValueType<T> && !detail::is_ref_ptr<T> && !detail::is_ref_ptr_array<T>) T
        Get(Status* status = nullptr)
    const&& {
        const Value& self = *this;
        return self.Get<T>(status);
    }
    template <class T>
    requires(!std::same_as<T, typename detail::StoredAs<T>::type>) T Get(Status* status = nullptr)
    const { return static_cast<T>(Get<typename detail::StoredAs<T>::type>(status)); }
    /// A new reference; of a class derived from `Object` also if the value holds a reference to a
    /// class derived from it. As `RefPtr<Object>`, a null reference gives `Status::InvalidCast`.
    template <class T>
    requires detail::is_ref_ptr<T> T Get(Status* status = nullptr)
    const;
    /// A new array of new references, as long as the one that is held.
    template <class T>
    requires detail::is_ref_ptr_array<T> T Get(Status* status = nullptr)
    const;

    /// How many references to objects the value holds: 1 for a `RefPtr`, the size for an array of
    /// them, -1 if it holds something else.
    int64 ObjectCount() const;
    /// One of these references; null if there is none at that index. The value keeps the object
    /// alive.
    Object* ObjectAt(uint64 index) const {
        return static_cast<int64>(index) < ObjectCount() ? _Table()._ObjectAt(storage_, index)
                                                         : nullptr;
    }

private:
    class _HoldAside;

    // The info word: the address of the type's table, and in its free low bits
    //   bit 0  the contents lie in the storage; then all of the table but `_Equal` is skipped
    //   bit 1  always 0
    //   bit 2  always 0
    // Zero is the empty value.
    static constexpr std::uintptr_t kLocal = 1;
    static constexpr std::uintptr_t kTags = 7;

    template <class T>
    static const detail::ValueTypeInfo& _TableOf() {
        static constinit detail::ValueTypeInfoImpl<T> table;
        return table;
    }
    template <class T>
    static std::uintptr_t _InfoOf() {
        return reinterpret_cast<std::uintptr_t>(&_TableOf<T>()) |
               (detail::is_local_value<T> ? kLocal : 0);
    }
    template <class T, class From>
    void _Init(From&& value) {
        const detail::ValueTypeInfo& table = _TableOf<T>();
        if (table.type.load(std::memory_order_acquire) == nullptr) [[unlikely]]
            _SetType(table, Type::Declare<T>());
        const std::uintptr_t info = _InfoOf<T>();
        detail::ValuePolicy<T>::_PlaceCopy(std::forward<From>(value), storage_);
        info_ = info;
    }

    /// Keeps the module of the table in memory: values of the type may be anywhere from here on.
    static void _SetType(const detail::ValueTypeInfo& table, Type type);
    Type _HeldType() const { return Type(_Table().type.load(std::memory_order_relaxed)); }

    /// Neither contents to release nor to count: empty or local.
    bool _IsPlain() const { return (((info_ & kLocal) - 1) & info_) == 0; }
    const detail::ValueTypeInfo& _Table() const {
        return *reinterpret_cast<const detail::ValueTypeInfo*>(info_ & ~kTags);
    }
    void _TakeBytes(const Value& from) noexcept {
        storage_ = from.storage_;
        info_ = from.info_;
    }
    // The contents of every policy are bytes that can be moved as such.
    void _Take(Value& from) noexcept {
        _TakeBytes(from);
        from.info_ = 0;
    }
    static void _Copy(const Value& from, Value& to) {
        if (from._IsPlain() && to._IsPlain())
            to._TakeBytes(from);
        else
            _CopySlow(from, to);
    }
    static void _CopySlow(const Value& from, Value& to);
    static void _Move(Value& from, Value& to) noexcept;
    bool _EqualityImpl(const Value& other) const;

    template <class T>
    bool _TypeIs() const {
        return _TypeIs(Type::Declare<typename detail::StoredAs<T>::type>());
    }
    bool _TypeIs(Type target) const;
    /// The contents are a `T` and nothing but a `T`.
    template <class T>
    bool _Holds() const {
        return info_ == _InfoOf<T>() || (!IsEmpty() && _HeldType() == Type::Declare<T>());
    }
    const void* _FailGet(detail::DefaultValueHolder (*factory)(), const Type& type) const;
    RefPtr<Object> _GetObject(Status* status) const;
    Array<RefPtr<Object>> _GetObjects(Status* status) const;

    detail::ValueStorage storage_;
    std::uintptr_t info_;
};

static_assert(sizeof(Value) == 2 * sizeof(void*));

template <class T>
requires detail::is_ref_ptr<T> T Value::Get(Status* status)
const {
    using Class = std::remove_pointer_t<decltype(std::declval<T>().get())>;
    if constexpr (std::is_same_v<Class, Object>) {
        return _GetObject(status);
    } else {
        StatusPtr report(status);
        if constexpr (std::is_base_of_v<Object, Class>) {
            if (_TypeIs<T>())
                return T(static_cast<Class*>(ObjectAt(0)));
        } else {
            if (_Holds<T>())
                return detail::ValuePolicy<T>::Get(storage_);
        }
        report = Status::InvalidCast;
        return T();
    }
}

template <class T>
requires detail::is_ref_ptr_array<T> T Value::Get(Status* status)
const {
    using Reference = std::remove_cvref_t<decltype(std::declval<const T&>()[0])>;
    using Class = std::remove_pointer_t<decltype(std::declval<Reference>().get())>;
    if constexpr (std::is_same_v<Class, Object>) {
        return _GetObjects(status);
    } else {
        StatusPtr report(status);
        if (_Holds<T>())
            return detail::ValuePolicy<T>::Get(storage_);
        T result;
        if constexpr (std::is_base_of_v<Object, Class>) {
            if (_TypeIs<T>()) {
                const int64 count = ObjectCount();
                result.reserve(static_cast<uint64>(count));
                for (int64 i = 0; i < count; ++i)
                    result.emplace_back(Reference(static_cast<Class*>(ObjectAt(i))));
                return result;
            }
        }
        report = Status::InvalidCast;
        return result;
    }
}

#define KIV_EXTERN(T)                                                                           \
    extern template KIV_BASE_TEMPLATE_EXTERN const detail::ValueTypeInfo& Value::_TableOf<T>(); \
    extern template KIV_BASE_TEMPLATE_EXTERN const detail::ValueTypeInfo&                       \
    Value::_TableOf<Array<T>>();
KIV_FOR_EACH_VALUE_ELEMENT(KIV_EXTERN)
extern template KIV_BASE_TEMPLATE_EXTERN const detail::ValueTypeInfo&
Value::_TableOf<Array<Array<Posed>>>();
#undef KIV_EXTERN

}  // namespace kiv

#endif  // KIV_BASE_VALUE_H_
