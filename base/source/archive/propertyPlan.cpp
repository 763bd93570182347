#include "archive/propertyPlan.h"

#include <atomic>
#include <memory>
#include <utility>

#include "kiv/base/archive.h"
#include "kiv/base/object.h"

namespace kiv::internal {
namespace {

using Objects = Array<RefPtr<Object>>;

// What `Value::Get` gives of it: an object of an unregistered class can't be read back.
RefPtr<Object> UsableOrNull(Object* object) {
    return RefPtr<Object>(object && object->IsInstanceOf<Object>() ? object : nullptr);
}

}  // namespace

PropertyPlan::PropertyPlan(const PropertyInfo& property, const Instance& instance)
    : table_size_(ArchiveSerializer<Value>::value_archive_handles_.size()),
      member_(property.impl_->_GetPlainMember()) {
    if (!member_ || property.GetOffsetof() < 0)
        return;
    const Value sample = property.GetField(instance, nullptr);
    type_name_ = std::string(sample.GetType().GetRawName());
    const Treatment treatment = FindTreatment(false, sample, type_name_);
    // A reader goes by the text of the name, which may say something else of an odd class.
    if (treatment.kind != FindTreatment(true, sample, type_name_).kind)
        return;
    if (treatment.kind == Treatment::kHandler && !member_->objectAt) {
        const auto& known = ArchiveSerializer<Value>::_member_handles_;
        const auto found = known.find(type_name_);
        // The name alone doesn't say that the handler is for this type.
        if (found == known.end() || found->second.type != sample.GetType())
            return;
        handler_ = treatment.handler;
        member_handler_ = found->second;
        way_ = Way::kDatum;
    } else if (member_->objectAt && treatment.kind == Treatment::kObject) {
        way_ = Way::kObject;
    } else if (member_->objectAt && treatment.kind == Treatment::kObjects) {
        way_ = Way::kObjects;
    }
}

const PropertyPlan& PropertyPlan::_Of(const PropertyInfo& property, const Instance& instance) {
    std::atomic<detail::PropertyNote*>& note = property.impl_->note_;
    detail::PropertyNote* present = note.load(std::memory_order_acquire);  // for the exchange below
    while (true) {
        const auto* const plan = static_cast<const PropertyPlan*>(present);
        if (plan && plan->table_size_ == ArchiveSerializer<Value>::value_archive_handles_.size())
            return *plan;
        std::unique_ptr<PropertyPlan> made(new PropertyPlan(property, instance));
        PropertyPlan& next = *made;
        next.previous_ = present;
        if (note.compare_exchange_strong(present, made.get())) {
            made.release();
            return next;
        }
    }
}

// A handler may have been replaced since, in the public table.
PropertyPlan::Way PropertyPlan::_CurrentWay() const {
    if (way_ != Way::kDatum)
        return way_;
    const auto* const present = handler_->target<ArchiveSerializer<Value>::PlainHandler>();
    return present && *present == member_handler_.handler ? Way::kDatum : Way::kValue;
}

void PropertyPlan::_Store(Archive& archive, const PropertyInfo& property, const Instance& instance,
                          const Value& value) {
    if (!property.SetField(instance, value) && archive.IsRead() && value.ObjectCount() > 0)
        archive._NoteLostObjects();
}

void PropertyPlan::Serialize(Archive& archive, const PropertyInfo& property,
                             const Instance& instance) {
    const StringView name = property.GetName();
    const PropertyPlan& plan = _Of(property, instance);
    if (plan._CurrentWay() == Way::kValue) {
        Value value = property.GetField(instance, nullptr);
        archive.Serialize<Value>(name, value);
        return _Store(archive, property, instance, value);
    }
    if (!archive._BeginObjectOrWarn(name))
        return;
    std::string found;
    if (!archive._SerializeTypeName(plan.type_name_, found)) {
        Value value = property.GetField(instance, nullptr);
        ArchiveSerializer<Value>::_ReadDatum(archive, found, value);
        archive.EndObject(name);
        return _Store(archive, property, instance, value);
    }
    plan._SerializeMember(archive, static_cast<char*>(instance.object) + property.GetOffsetof());
    archive.EndObject(name);
}

void PropertyPlan::_SerializeMember(Archive& archive, void* member) const {
    switch (way_) {
        case Way::kDatum:
            return member_handler_.serialize(archive, "value", member);
        case Way::kObject: {
            RefPtr<Object> object;
            if (!archive.IsRead())
                object = UsableOrNull(member_->objectAt(member, 0));
            archive.Serialize<Object>("value", object);
            if (archive.IsRead() && !member_->storeObjects(member, &object, 1))
                archive._NoteLostObjects();
            return;
        }
        case Way::kObjects: {
            Objects objects;
            if (!archive.IsRead()) {
                const uint64 count = member_->objectCount(member);
                objects.reserve(count);
                for (uint64 i = 0; i < count; ++i)
                    objects.emplace_back(UsableOrNull(member_->objectAt(member, i)));
            }
            archive.SerializeObjectArray("value", objects);
            if (archive.IsRead() && !member_->storeObjects(member, objects.cdata(), objects.size()))
                archive._NoteLostObjects();
            return;
        }
        case Way::kValue:
            return;
    }
}

}  // namespace kiv::internal
