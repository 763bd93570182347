#include "catalogue/graphOwner.h"

#include <vector>

#include "kiv/base/array.h"
#include "kiv/base/integers.h"
#include "kiv/base/propertyInfo.h"
#include "kiv/base/type.h"
#include "kiv/base/value.h"

namespace catalogue {

void CutReferences(const kiv::RefPtr<kiv::Object>& root) {
    std::vector<kiv::RefPtr<kiv::Object>> waiting;
    if (root)
        waiting.push_back(root);
    // A list instead of letting each object end those that it holds: a graph may be deeper than the
    // stack. An object that is met again has no references left.
    while (!waiting.empty()) {
        const kiv::RefPtr<kiv::Object> object = std::move(waiting.back());
        waiting.pop_back();
        const kiv::Instance instance(object.get());
        for (const kiv::PropertyInfo& property : object->GetType().GetProperties()) {
            const kiv::Value value = property.GetField(instance, nullptr);
            const kiv::int64 count = value.ObjectCount();
            if (count < 0)
                continue;
            for (kiv::int64 i = 0; i < count; ++i)
                if (kiv::Object* const held = value.ObjectAt(static_cast<kiv::uint64>(i)))
                    waiting.push_back(kiv::RefPtr<kiv::Object>(held));
            if (value.GetType().IsVector())
                property.SetField(instance, kiv::Array<kiv::RefPtr<kiv::Object>>());
            else
                property.SetField(instance, kiv::RefPtr<kiv::Object>());
        }
    }
}

}  // namespace catalogue
