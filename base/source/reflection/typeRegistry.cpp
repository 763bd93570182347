#include "kiv/base/typeRegistry.h"

#include <string>
#include <utility>

#include "kiv/base/check.h"

namespace kiv {
namespace {

/// Stands for the absence of a type; declared nowhere, so that its record is in none of the maps.
struct __Any__ {};

struct BuiltInType {
    const std::type_info& id;
    StringView raw_name;
    uint64 size;
    TypeTraits traits;
    const char* name;
};

template <class T>
BuiltInType BuiltIn(const char* name) {
    return {typeid(T), detail::RawName<T>(), sizeof(T), detail::TypeShape<T>::Traits(), name};
}

}  // namespace

TypeInfo* Type::any_ = nullptr;

TypeRegistry::TypeRegistry() {
    // The members of the record that are types take the handle of the record itself, which is not
    // there while they are made: they are set behind it.
    any_.reset(new TypeInfo{.id = &typeid(__Any__), .raw_name = "Any", .name = "Any"});
    Type::any_ = any_.get();
    any_->raw_type = any_->wrapped_type = any_->raw_array_type = Type();

    // Made by hand: `Type::Declare` would come back to the registry that is being built.
    const BuiltInType types[] = {BuiltIn<bool>("bool"),         BuiltIn<unsigned char>("uint8"),
                                 BuiltIn<signed char>("int8"),  BuiltIn<unsigned short>("uint16"),
                                 BuiltIn<short>("int16"),       BuiltIn<unsigned int>("uint32"),
                                 BuiltIn<int>("int32"),         BuiltIn<float>("float"),
                                 BuiltIn<double>("double"),     BuiltIn<char>("char"),
                                 BuiltIn<std::string>("string")};
    for (const BuiltInType& type : types) {
        std::unique_ptr<TypeInfo> info(new TypeInfo{
            .id = &type.id, .traits = type.traits, .raw_name = type.raw_name, .size = type.size});
        const Type handle(info.get());
        info->raw_type = handle;
        types_by_raw_name_.insert(type.raw_name, handle);
        infos_.insert(type.id, std::move(info));
        _RegisterType(handle, type.name);
    }
}

TypeRegistry::~TypeRegistry() = default;

Type TypeRegistry::DeclareType(std::unique_ptr<TypeInfo> info) {
    const std::type_index id = *info->id;
    Type type;
    bool unique;
    {
        std::lock_guard lock(mutex_);
        if (const std::unique_ptr<TypeInfo>* known = infos_.find(id))
            return Type(known->get());
        type = Type(info.get());
        const StringView raw_name = info->raw_name;
        infos_.insert(id, std::move(info));
        unique = types_by_raw_name_.insert(raw_name, type);
    }
    if (!unique) {
        const std::string reason = "another type has the raw name \"" +
                                   std::string(type.GetRawName()) + "\" already: give " +
                                   type.GetTypeid().name() + " one of its own with KIV_RAW_NAME";
        KIV_CHECK_EXPLAINED(unique, reason.c_str());
    }
    return type;
}

Status TypeRegistry::DefineType(Type type, StringView name,
                                std::unique_ptr<rttr::CreateInstanceFactory> factory) {
    std::lock_guard lock(mutex_);
    const std::string& current = type.info_->name;
    // Renaming a type would pull the text from under the key of its old name.
    if (types_by_name_.Find(name) != nullptr || !current.empty())
        return Status::InvalidOperation;
    _RegisterType(type, name);
    type.info_->factory = std::move(factory);
    _UpdateMemberInfos(type, &ClassInfo::properties);
    return Status::Success;
}

Type TypeRegistry::FindType(const std::type_info& id) {
    std::lock_guard lock(mutex_);
    const std::unique_ptr<TypeInfo>* info = infos_.find(id);
    return info ? Type(info->get()) : Type();
}

Type TypeRegistry::FindTypeByName(StringView name) {
    TypeInfo* info = types_by_name_.Find(name);
    return info ? Type(info) : Type();
}

Type TypeRegistry::FindTypeByTypeName(StringView rawName) {
    std::lock_guard lock(mutex_);
    const Type* type = types_by_raw_name_.find(rawName);
    return type ? *type : Type();
}

void TypeRegistry::_RegisterType(const Type& type, StringView name) {
    std::string& own = type.info_->name;
    own = std::string(name);
    types_by_name_.Set(own, type.info_);
}

void TypeRegistry::_UpdateMemberInfos(const Type& type,
                                      std::vector<PropertyInfo> ClassInfo::*member) {
    const auto append_declared = [member](Type declarer, std::vector<PropertyInfo>& to) {
        const std::vector<PropertyInfo>& from = declarer.info_->class_info.*member;
        const array_range<PropertyInfo> declared(from.data(), from.size(),
                                                 {[declarer](const PropertyInfo& property) {
                                                     return property.GetDeclaringType() == declarer;
                                                 }});
        to.insert(to.end(), declared.begin(), declared.end());
    };
    const auto rebuild = [&](Type current) {
        std::vector<PropertyInfo> list;
        for (const Type& base : current.GetBaseTypes())
            append_declared(base, list);
        append_declared(current, list);
        ClassInfo& info = current.info_->class_info;
        info.*member = std::move(list);
        info.property_index.Clear();
        for (const PropertyInfo& property : info.properties)
            info.property_index.Set(property.GetName(), property.impl_);
    };
    // A list is made of what each type itself declared, and the list of derived types holds the
    // indirect ones too: one step each is enough, in any order.
    rebuild(type);
    for (const Type& derived : type.GetDerivedTypes())
        rebuild(derived);
}

}  // namespace kiv
