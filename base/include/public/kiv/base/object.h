// The root of the reflected object model: a reference count, a run-time type, properties by name,
// and the entry points of archives and parcels.
//
//     class Sample : public kiv::Object {
//         KIV_OBJECT(Sample, kiv::Object)
//     public:
//         int count_ = 0;
//     };
//     kiv::RefPtr<Sample> sample = kiv::MakeRefCounted<Sample>();
//
// References may be taken and dropped on any thread; everything else is as safe as the derived
// class.
#ifndef KIV_BASE_OBJECT_H_
#define KIV_BASE_OBJECT_H_

#include <memory>

#include "kiv/base/export.h"
#include "kiv/base/refPtr.h"
#include "kiv/base/registration.h"
#include "kiv/base/status.h"
#include "kiv/base/stringView.h"
#include "kiv/base/type.h"
#include "kiv/base/value.h"

namespace kiv {

class Archive;
class Parcel;

class KIV_BASE_API TypedObject : public RefCountedThreadSafe<TypedObject> {
public:
    virtual Type GetType() const = 0;

protected:
    friend class RefCountedThreadSafe<TypedObject>;

    /// Deletes the object, at once or, where the stack has no room for another destructor within
    /// those that are running, when the outermost of them is through: a chain of objects may be of
    /// any length.
    static void _DestroyUnreferenced(const TypedObject* object) noexcept;

    TypedObject() = default;
    virtual ~TypedObject();
};

/// The private record of an `Object`.
class KIV_BASE_API ObjectImpl {
public:
    ObjectImpl();
    ~ObjectImpl();
};

class KIV_BASE_API Object : public TypedObject {
public:
    using KivClass = Object;
    using KivBases = detail::BaseList<>;

    /// The class of the object itself.
    Type GetType() const override;

protected:
    ~Object() override;

public:
    /// Empty; a derived class may have a name to give.
    virtual StringView GetName() const;
    /// Write the object to a parcel and read it back; those of the base leave the parcel as it is.
    virtual Parcel& Serialize(Parcel& parcel);
    virtual Parcel& Deserialize(Parcel& parcel);
    /// Writes the object's contents to an archive or reads them, as the archive says, in the scope
    /// that is open. The base version goes through all storable properties.
    virtual Archive& operator<<(Archive& archive);

    static Type GetStaticType();
    /// True if the object is of that type or of one derived from it.
    bool IsInstanceOf(const Type& type) const;
    template <class T>
    bool IsInstanceOf() const {
        return IsInstanceOf(Type::Declare<T>());
    }

    /// The value of a property; `Status::InvalidParameter` if the type has none of that name.
    Value GetProperty(StringView name, Status* status = nullptr);
    Status SetProperty(StringView name, const Value& value);
    /// Changes nothing: an object has a name only where its class overrides `GetName`.
    void SetName(StringView name);

protected:
    Object();
    /// Takes ownership of the record, which may be null.
    explicit Object(ObjectImpl* impl);

private:
    std::unique_ptr<ObjectImpl> impl_;
};

}  // namespace kiv

/// In the body of a class derived from `kiv::Object`: gives it its type. Behind the class stand the
/// reflected classes that it derives from directly. What follows the macro is private.
#define KIV_OBJECT(Class, ...)                             \
public:                                                    \
    using KivClass = Class;                                \
    using KivBases = ::kiv::detail::BaseList<__VA_ARGS__>; \
    static ::kiv::Type GetStaticType() {                   \
        return ::kiv::Type::Declare<Class>();              \
    }                                                      \
    ::kiv::Type GetType() const override {                 \
        return GetStaticType();                            \
    }                                                      \
                                                           \
private:

#endif  // KIV_BASE_OBJECT_H_
