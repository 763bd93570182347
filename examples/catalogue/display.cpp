#include "catalogue/display.h"

#include <vector>

#include "kiv/base/jsonSerializer.h"
#include "kiv/base/propertyInfo.h"
#include "kiv/base/refPtr.h"
#include "kiv/base/type.h"
#include "kiv/base/value.h"

namespace catalogue {
namespace {

Entry* FindEntry(Folder& root) {
    Entry* found = nullptr;
    std::vector<Folder*> waiting = {&root};
    while (!waiting.empty()) {
        const Folder& folder = *waiting.back();
        waiting.pop_back();
        for (const kiv::RefPtr<Entry>& entry : folder.entries) {
            const Content* const content = entry->content.get();
            if (content && !content->lines.empty())
                return entry.get();
            if (!found)
                found = entry.get();
        }
        for (const kiv::RefPtr<Folder>& inner : folder.folders)
            waiting.push_back(inner.get());
    }
    return found;
}

/// A new object of the same class, with all that is stored of `object` but its references.
template <class T>
kiv::RefPtr<T> CopyWithoutReferences(T& object) {
    const auto copy = object.GetType().CreateInstance().template Get<kiv::RefPtr<T>>();
    for (const kiv::PropertyInfo& property : object.GetType().GetProperties()) {
        const kiv::Value value = property.GetField(kiv::Instance(&object), nullptr);
        if (property.IsStorable() && value.ObjectCount() < 0)
            property.SetField(kiv::Instance(copy.get()), value);
    }
    return copy;
}

}  // namespace

std::string DisplayOneEntry(Folder& root, kiv::Status* status) {
    kiv::JsonSerializer serializer({});
    Entry* const entry = FindEntry(root);
    if (!entry)
        return serializer.GetDisplayString(CopyWithoutReferences(root), status);
    // The display form writes out all that an object refers to, and through the folder of an entry
    // that would be the whole tree.
    const kiv::RefPtr<Entry> shown = CopyWithoutReferences(*entry);
    shown->content = entry->content;
    shown->folder = CopyWithoutReferences(*entry->folder);
    return serializer.GetDisplayString(shown, status);
}

}  // namespace catalogue
