#include "kiv/base/registration.h"

#include <algorithm>
#include <set>
#include <string>

#include "kiv/base/check.h"
#include "kiv/base/typeRegistry.h"
#include "platform/modulePin.h"

namespace kiv {
namespace rttr {

Type MakeTypeInfo::DeclareType(const std::type_info& id, StringView rawName, Type rawType,
                               Type wrappedType, Type rawArrayType, uint64 size,
                               TypeTraits traits) {
    std::unique_ptr<TypeInfo> info(new TypeInfo{.id = &id,
                                                .raw_type = rawType,
                                                .wrapped_type = wrappedType,
                                                .raw_array_type = rawArrayType,
                                                .traits = traits,
                                                .raw_name = rawName,
                                                .size = size});
    if (rawType == Type())
        info->raw_type = Type(info.get());
    return TypeRegistry::GetInstance().DeclareType(std::move(info));
}

void MakeTypeInfo::_DefineBaseClasses(Type type, std::vector<detail::base_class_info>& bases) {
    std::set<Type> seen;
    for (auto at = bases.end(); at != bases.begin();) {
        --at;
        if (!seen.insert(at->type).second)
            at = bases.erase(at);
    }
    // Each one goes in front of the first that derives from it. Being a base is no order that
    // std::sort could work with: a type is its own base, and unrelated types are neither before nor
    // behind.
    for (auto at = bases.begin(); at != bases.end(); ++at) {
        const auto derived = std::find_if(
            bases.begin(), at, [&](const auto& placed) { return at->type.IsBaseOf(placed.type); });
        std::rotate(derived, at, at + 1);
    }
    for (const detail::base_class_info& base : bases) {
        type.info_->class_info.base_types.push_back(base.type);
        base.type.GetRawType().info_->class_info.derived_types.push_back(type);
    }
}

void MakeTypeInfo::_DefineType(Type type, StringView name,
                               std::unique_ptr<CreateInstanceFactory> factory) {
    TypeRegistry::GetInstance().DefineType(type, name, std::move(factory));
}

void MakeTypeInfo::_DeclareProperty(Type type, std::unique_ptr<PropertyInfoImpl>&& impl) {
    platform::PinModuleOfClass(impl.get());
    ClassInfo& info = type.info_->class_info;
    const PropertyInfo property(impl.get());
    info.properties.push_back(property);
    info.property_index.Set(property.GetName(), impl.get());
    info.own_properties.push_back(std::move(impl));
}

void MakeTypeInfo::_AttachEnum(Type type, std::unique_ptr<EnumImpl> impl) {
    if (type.info_->enumeration)
        return;
    platform::PinModuleOfClass(impl.get());
    type.info_->enumeration = std::move(impl);
}

void MakeTypeInfo::_DeclareEnumItem(Type type, StringView name, const Value& value) {
    EnumImpl* table = type.info_->enumeration.get();
    if (table == nullptr)
        return;
    platform::PinModuleOf(name.data());
    table->names_.emplace_back(name);
    table->values_.emplace_back(value);
}

}  // namespace rttr

namespace detail {
namespace {

// An empty name that begins here marks a registration that was refused, so that it is told once.
constexpr char kRefused[] = "";

}  // namespace

void ReportBaseNotAtStart(Type type, Type base) {
    const std::string reason = std::string(type.GetRawName()) + " has " +
                               std::string(base.GetRawName()) +
                               " somewhere else; the base is left out";
    ReportFailedCheck(__FILE__, __LINE__, "a reflected base of a plain class stands at its start",
                      reason.c_str());
}

bool PropertyImplBase::_IsMadeOfItems(const Enum& table, uint64 number,
                                      uint64 (*numberOf)(const Value&)) {
    if (table.Invalid() || table.impl_->values_.empty())
        return true;
    uint64 bits = 0;
    const Array<Value>& items = table.impl_->values_;
    for (const Value& item : items)
        bits |= numberOf(item);
    return (number & ~bits) == 0;
}

RegistrationName::RegistrationName(Type type, StringView name) : name_(name) {
    if (!name_.empty())
        _MayDeclare(type);
}

bool RegistrationName::_MayDeclare(Type type) {
    if (_IsRefused())
        return false;
    if (!type.GetName().empty())
        _Refuse(type, "the type is not defined yet", "is defined already");
    else if (name_.empty())
        _Refuse(type, "the name is not empty", "is registered with an empty name");
    else if (Type::Find(name_) != Type())
        _Refuse(type, "the name is free", "wants a name that another type has");
    return !_IsRefused();
}

bool RegistrationName::_MayDeclare(Type type, StringView member) {
    if (!_MayDeclare(type))
        return false;
    const bool known = type.GetProperty(member).GetDeclaringType() == type ||
                       !type.GetEnum().NameToValue(member).IsEmpty();
    if (known || member.empty())
        _Refuse(type, "each member has a name of its own",
                "names two members alike, or one not at all");
    return !_IsRefused();
}

bool RegistrationName::_Define(Type type, std::vector<base_class_info> (*bases)(),
                               std::unique_ptr<rttr::CreateInstanceFactory> factory) {
    if (!_MayDeclare(type))
        return false;
    if (factory)
        platform::PinModuleOfClass(factory.get());
    if (bases) {
        std::vector<base_class_info> list = bases();
        rttr::MakeTypeInfo::_DefineBaseClasses(type, list);
    }
    const Status status = TypeRegistry::GetInstance().DefineType(type, name_, std::move(factory));
    name_ = StringView();
    return static_cast<bool>(status);
}

void RegistrationName::_DefineAtEnd(Type type, std::vector<base_class_info> (*bases)()) {
    if (!name_.empty())
        _Define(type, bases, nullptr);
}

bool RegistrationName::_IsRefused() const {
    return name_.data() == kRefused;
}

void RegistrationName::_Refuse(Type type, const char* condition, const char* reason) {
    const std::string text = std::string(type.GetRawName()) + " " + reason + " (\"" +
                             std::string(name_.empty() ? type.GetName() : name_) +
                             "\"); this registration is left out";
    ReportFailedCheck(__FILE__, __LINE__, condition, text.c_str());
    name_ = StringView(kRefused, 0);
}

}  // namespace detail
}  // namespace kiv
