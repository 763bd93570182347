#include "kiv/base/jsonSerializer.h"

#include <exception>
#include <stdexcept>
#include <utility>

#include "archive/frontEnd.h"
#include "kiv/base/archiveTypes.h"
#include "kiv/base/jsonArchive.h"
#include "kiv/base/logging.h"

namespace kiv {
namespace {

constexpr char kTag[] = "JsonSerializer";

}  // namespace

JsonSerializer::JsonSerializer(const std::unordered_map<std::string, Value>& given)
    : options(given) {}

JsonSerializer::~JsonSerializer() = default;

Status JsonSerializer::Serialize(const RefPtr<Object>& object) {
    try {
        JsonOutputArchive archive(options);
        RefPtr<Object> root = object;
        archive.Serialize<Object>(internal::kRootName, root);
        archive.ToString(serializeString);
        return Status::Success;
    } catch (const std::exception& error) {
        baseLogger2.log(LogLevel::Error, kTag, "Serialize failed: %s", error.what());
        return Status::Failure;
    }
}

RefPtr<Object> JsonSerializer::Deserialize(const StringView&, Status* status) {
    try {
        JsonInputArchive archive(options);
        archive.FromString(serializeString);
        RefPtr<Object> root;
        archive.Serialize<Object>(internal::kRootName, root);
        return root;
    } catch (const std::exception& error) {
        baseLogger2.log(LogLevel::Error, kTag, "Deserialize failed: %s, serialize string: %s",
                        error.what(), serializeString.c_str());
        internal::Report(status, Status::Failure);
        return nullptr;
    }
}

std::string JsonSerializer::GetSerializeString(Status*) {
    return serializeString;
}

void JsonSerializer::SetSimpleSerializeString(const std::string& json) {
    // Only there to be found again in the document.
    std::string marker = "3D7A3C87E6F1E2C9D040A62C72EE9658";
    JsonOutputArchive archive(options);
    archive.SerializeString("Serialize", marker);
    archive.ToString(serializeString);
    const std::string quoted = '"' + marker + '"';
    serializeString.replace(serializeString.find(quoted), quoted.size(), json);
}

std::string JsonSerializer::GetDisplayString(const RefPtr<Object>& object, Status* status) {
    try {
        std::string text = _DisplayMembers(object);
        internal::Report(status, Status::Success);
        return text;
    } catch (const std::exception& error) {
        baseLogger2.log(LogLevel::Error, kTag, "GetDisplayString failed: %s", error.what());
        internal::Report(status, Status::Failure);
        return std::string();
    }
}

std::string JsonSerializer::GetDisplayString(Value& value, Status* status, bool full) {
    try {
        JsonOutputArchive archive(options);
        archive.Serialize<Value>("Display", value);
        std::string text = archive.GetDisplayJson("Display", full ? "" : "value");
        internal::Report(status, Status::Success);
        return text;
    } catch (const std::exception& error) {
        baseLogger2.log(LogLevel::Error, kTag, "GetDisplayString failed: %s", error.what());
        internal::Report(status, Status::Failure);
        return std::string();
    }
}

void JsonSerializer::SerializeToDisplay(const RefPtr<Object>& object, std::string& out,
                                        Status* status) {
    try {
        out = _DisplayMembers(object);
        internal::Report(status, Status::Success);
    } catch (const std::exception& error) {
        baseLogger2.log(LogLevel::Error, kTag, "SerializeToDisplay failed: %s", error.what());
        internal::Report(status, Status::Failure);
    }
}

std::string JsonSerializer::_DisplayMembers(const RefPtr<Object>& object) {
    if (!object)
        throw std::invalid_argument("there is no object");
    JsonOutputArchive archive(options);
    // Directly, so that its members stand at the root and not below a reference.
    *object << archive;
    return archive.GetDisplayJson("", "");
}

}  // namespace kiv
