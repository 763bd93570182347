// How the property of an object passes through an archive: in place, if it is a plain member of a
// type that archives know, with the same outcome as by way of a `Value` and at a fraction of the
// cost.
#ifndef KIV_BASE_ARCHIVE_PROPERTY_PLAN_H_
#define KIV_BASE_ARCHIVE_PROPERTY_PLAN_H_

#include <cstddef>
#include <string>

#include "archive/valueTreatment.h"
#include "kiv/base/archiveTypes.h"
#include "kiv/base/propertyInfo.h"
#include "kiv/base/stringView.h"

namespace kiv::internal {

class PropertyPlan : public detail::PropertyNote {
public:
    /// Serializes a storable property, as `Archive::Serialize<Value>` would between `GetField` and
    /// `SetField`. Any thread.
    static void Serialize(Archive& archive, const PropertyInfo& property, const Instance& instance);

    ~PropertyPlan() override { delete previous_; }

private:
    enum class Way : unsigned char { kValue, kDatum, kObject, kObjects };

    PropertyPlan(const PropertyInfo& property, const Instance& instance);

    static const PropertyPlan& _Of(const PropertyInfo& property, const Instance& instance);
    static void _Store(Archive& archive, const PropertyInfo& property, const Instance& instance,
                       const Value& value);
    Way _CurrentWay() const;
    void _SerializeMember(Archive& archive, void* member) const;

    Way way_ = Way::kValue;
    std::size_t table_size_;  // of the table of handlers: the plan is made anew when it has grown
    const detail::PlainMember* member_ = nullptr;
    const ArchiveSerializer<Value>::Handler* handler_ = nullptr;
    ArchiveSerializer<Value>::MemberHandler member_handler_;
    std::string type_name_;
    // Made before the table grew, and owned: other threads may still be reading it.
    const PropertyNote* previous_ = nullptr;
};

}  // namespace kiv::internal

#endif  // KIV_BASE_ARCHIVE_PROPERTY_PLAN_H_
