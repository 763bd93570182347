// The one table of types in the process. It owns every `TypeInfo`, is the first object of the
// library to come to life and the last to go.
//
// All operations may be called from any thread; none may be called while another one of this thread
// is running (the mutex is not recursive).
#ifndef KIV_BASE_TYPE_REGISTRY_H_
#define KIV_BASE_TYPE_REGISTRY_H_

#include <memory>
#include <mutex>
#include <typeindex>
#include <typeinfo>
#include <vector>

#include "kiv/base/export.h"
#include "kiv/base/flatMap.h"
#include "kiv/base/nameIndex.h"
#include "kiv/base/stringView.h"
#include "kiv/base/type.h"
#include "kiv/base/typeInfo.h"

namespace kiv {

class KIV_BASE_API TypeRegistry {
public:
    static TypeRegistry& GetInstance() { return instance_; }

    TypeRegistry(const TypeRegistry&) = delete;
    TypeRegistry& operator=(const TypeRegistry&) = delete;

    /// Takes the record, or drops it if the type has one already; gives the type of the record that
    /// stays. Two different types with one raw name are reported as a failed check, and the name
    /// stays with the first.
    Type DeclareType(std::unique_ptr<TypeInfo> info);
    /// Names the type, installs the factory and rebuilds the lists of members of the type and of
    /// all derived ones. `Status::InvalidOperation` for a name that is taken and for a type that
    /// has another name already; nothing changes then.
    Status DefineType(Type type, StringView name,
                      std::unique_ptr<rttr::CreateInstanceFactory> factory);

    /// `Type()` if there is none.
    Type FindType(const std::type_info& id);
    Type FindTypeByName(StringView name);
    Type FindTypeByTypeName(StringView rawName);

private:
    TypeRegistry();
    ~TypeRegistry();

    void _RegisterType(const Type& type, StringView name);
    void _UpdateMemberInfos(const Type& type, std::vector<PropertyInfo> ClassInfo::*member);

    static TypeRegistry instance_;

    FlatMap<StringView, Type> types_by_raw_name_;
    // Found without the lock: archives look up every object that they read. The names are views of
    // those of the records.
    detail::NameIndex<TypeInfo> types_by_name_;
    FlatMap<std::type_index, std::unique_ptr<TypeInfo>> infos_;
    std::mutex mutex_;  // guards the maps
    std::unique_ptr<TypeInfo> any_;
};

}  // namespace kiv

#endif  // KIV_BASE_TYPE_REGISTRY_H_
