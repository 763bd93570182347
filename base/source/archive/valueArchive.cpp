#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

#include "archive/valueTreatment.h"
#include "kiv/base/archiveTypes.h"
#include "kiv/base/logging.h"
#include "kiv/base/object.h"

namespace kiv {
namespace {

using internal::Treatment;
using Handler = ArchiveSerializer<Value>::Handler;
using Objects = Array<RefPtr<Object>>;

constexpr char kTag[] = "kiv::ArchiveSerializer<class kiv::Value,void>::Serialize";

const Handler* FindHandler(const std::string& typeName) {
    const auto& handlers = ArchiveSerializer<Value>::value_archive_handles_;
    const auto found = handlers.find(typeName);
    return found == handlers.end() ? nullptr : &found->second;
}

bool Contains(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

/// What a thread found last for a type that is known by the address of its raw name. The table
/// drops nothing and keeps its handlers where they are, and a class stays what it is: so what was
/// found stays right, but for a handler that takes the place of another treatment, with which the
/// table has grown.
class TreatmentCache {
public:
    Treatment Find(bool reads, const Value& value, StringView held, const std::string& typeName) {
        const std::size_t size = ArchiveSerializer<Value>::value_archive_handles_.size();
        const auto address = reinterpret_cast<std::uintptr_t>(held.data());
        Entry& entry = entries_[reads][(address ^ address >> 7) % kSize];
        const bool known = entry.name == held.data() &&
                           entry.treatment.kind != Treatment::kUnknown &&
                           (entry.treatment.handler || entry.size == size);
        if (!known)
            entry = {held.data(), size, internal::FindTreatment(reads, value, typeName)};
        return entry.treatment;
    }

private:
    static constexpr std::size_t kSize = 64;
    struct Entry {
        const char* name = nullptr;
        std::size_t size = 0;
        Treatment treatment;
    };
    Entry entries_[2][kSize];  // of writers and readers
};

constinit thread_local TreatmentCache treatments;

/// A string whose memory the thread uses again.
class ScratchText {
public:
    ScratchText() : text(std::move(_Kept())) {}
    ScratchText(const ScratchText&) = delete;
    ScratchText& operator=(const ScratchText&) = delete;
    ~ScratchText() {
        if (text.capacity() <= kLongestKept)
            _Kept() = std::move(text);
    }

    std::string text;

private:
    // A name from a foreign document may be of any length.
    static constexpr std::size_t kLongestKept = 4096;

    static std::string& _Kept() {
        static thread_local std::string kept;
        return kept;
    }
};

void RefuseUnknown(Archive& archive, const std::string& typeName) {
    baseLogger2.log(
        LogLevel::Error, kTag,
        "Unknown kiv::Value type: %s, Please register it like archiveTypes/archiveTypes. "
        "1. Achive ArchiveSerializer<T>; 2. Define static ValueArchiveRegistrar<T>.",
        typeName.c_str());
    if (archive.GetOptions().contains("DeserializeValue"))
        throw std::runtime_error("Unknown kiv::Value type");
}

}  // namespace

internal::Treatment internal::FindTreatment(bool reads, const Value& value,
                                            const std::string& typeName) {
    if (StringView(typeName) == Type().GetRawName())
        return {Treatment::kNone};
    if (const Handler* const handler = FindHandler(typeName))
        return {Treatment::kHandler, handler};
    if (reads) {
        // The text of the name is enough: a reference to any class comes back as one to its object.
        if (!Contains(typeName, "kiv::RefPtr"))
            return {};
        return {Contains(typeName, "kiv::Array") ? Treatment::kObjects : Treatment::kObject};
    }
    if (value.Is<RefPtr<Object>>())
        return {Treatment::kObject};
    return {value.Is<Objects>() ? Treatment::kObjects : Treatment::kUnknown};
}

void ArchiveSerializer<Value>::Serialize(Archive& archive, Value& value) {
    Treatment treatment;
    {
        const StringView held = value.GetType().GetRawName();
        ScratchText name;
        name.text.assign(held.data(), held.size());
        archive.SerializeString("type", name.text);
        const bool reads = archive.IsRead();
        treatment = StringView(name.text) == held
                        ? treatments.Find(reads, value, held, name.text)
                        : internal::FindTreatment(reads, value, name.text);
        if (treatment.kind == Treatment::kUnknown)
            return RefuseUnknown(archive, name.text);
    }
    _SerializeDatum(archive, treatment, value);
}

void ArchiveSerializer<Value>::_ReadDatum(Archive& archive, const std::string& typeName,
                                          Value& value) {
    const Treatment treatment = internal::FindTreatment(true, value, typeName);
    if (treatment.kind == Treatment::kUnknown)
        return RefuseUnknown(archive, typeName);
    _SerializeDatum(archive, treatment, value);
}

void ArchiveSerializer<Value>::_SerializeDatum(Archive& archive, const Treatment& treatment,
                                               Value& value) {
    switch (treatment.kind) {
        case Treatment::kHandler:
            (*treatment.handler)(archive, "value", value);
            return;
        case Treatment::kObject: {
            RefPtr<Object> object;
            if (!archive.IsRead())
                object = value.Get<RefPtr<Object>>();
            archive.Serialize<Object>("value", object);
            if (archive.IsRead())
                value = Value(std::move(object));
            return;
        }
        case Treatment::kObjects: {
            Objects objects;
            if (!archive.IsRead())
                objects = value.Get<Objects>();
            archive.SerializeObjectContainer<Objects, Object>("value", objects);
            if (archive.IsRead())
                value = Value(std::move(objects));
            return;
        }
        case Treatment::kNone:
        case Treatment::kUnknown:
            return;
    }
}

}  // namespace kiv
