// The record behind a `Type`. Callers read it through the handle; what stands here is for those who
// make records: the registration of types and properties.
#ifndef KIV_BASE_TYPE_INFO_H_
#define KIV_BASE_TYPE_INFO_H_

#include <memory>
#include <new>
#include <string>
#include <typeinfo>
#include <vector>

#include "kiv/base/enum.h"
#include "kiv/base/export.h"
#include "kiv/base/nameIndex.h"
#include "kiv/base/propertyInfo.h"
#include "kiv/base/type.h"
#include "kiv/base/value.h"

namespace kiv {
namespace rttr {

/// Makes instances of one type. The record frees it as this class, whose destructor is not virtual:
/// an implementation holds nothing that needs destruction, and is made with plain `new`.
class KIV_BASE_API CreateInstanceFactory {
public:
    virtual Value CreateInstance() const = 0;
    /// The object in that `Value`, or null; spared the way through it where that is known.
    virtual RefPtr<Object> CreateObject() const;

protected:
    friend struct std::default_delete<CreateInstanceFactory>;

    CreateInstanceFactory() = default;
    ~CreateInstanceFactory() = default;
};

}  // namespace rttr
}  // namespace kiv

template <>
struct std::default_delete<kiv::rttr::CreateInstanceFactory> {
    void operator()(kiv::rttr::CreateInstanceFactory* object) const {
        object->kiv::rttr::CreateInstanceFactory::~CreateInstanceFactory();
        ::operator delete(object);
    }
};

namespace kiv {

struct KIV_BASE_API ClassInfo {
    std::vector<Type> base_types;          // direct and indirect, roots first
    std::vector<Type> derived_types;       // direct and indirect, in the order of definition
    std::vector<PropertyInfo> properties;  // inherited ones first
    std::vector<std::unique_ptr<PropertyInfoImpl>> own_properties;
    detail::NameIndex<PropertyInfoImpl> property_index;  // of each name the last property
};

struct KIV_BASE_API TypeInfo {
    Value CreateInstance(Status* status) const;
    RefPtr<Object> CreateObject() const;

    const std::type_info* id = nullptr;
    Type raw_type{};
    Type wrapped_type{};
    Type raw_array_type{};
    TypeTraits traits{};
    StringView raw_name{};  // static text of the module that declared the type
    std::string name{};
    uint64 size = 0;
    std::unique_ptr<rttr::CreateInstanceFactory> factory{};
    ClassInfo class_info{};
    std::unique_ptr<EnumImpl> enumeration{};
    bool is_struct = false;
};

}  // namespace kiv

#endif  // KIV_BASE_TYPE_INFO_H_
