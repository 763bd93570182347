#include "kiv/base/binarySerializer.h"

#include <exception>
#include <string>

#include "archive/frontEnd.h"
#include "archive/jsonText.h"
#include "kiv/base/archiveTypes.h"
#include "kiv/base/binaryArchive.h"
#include "kiv/base/logging.h"
#include "kiv/base/type.h"

namespace kiv {
namespace {

constexpr char kTag[] = "BinarySerializer";

}  // namespace

BinarySerializer::BinarySerializer(const std::unordered_map<std::string, Value>& given)
    : options(given) {}

BinarySerializer::~BinarySerializer() = default;

Status BinarySerializer::Serialize(const RefPtr<Object>& object) {
    try {
        BinaryOutputArchive archive(options);
        RefPtr<Object> root = object;
        archive.Serialize<Object>(internal::kRootName, root);
        archive.ToBuffer(buffer);
        return Status::Success;
    } catch (const std::exception& error) {
        baseLogger2.log(LogLevel::Error, kTag, "Serialize failed: %s", error.what());
        return Status::Failure;
    }
}

RefPtr<Object> BinarySerializer::Deserialize(const StringView& typeName, Status* status) {
    const std::string name(internal::UpToZero(typeName));
    try {
        BinaryInputArchive archive(buffer, options);
        if (Type::Find(name) == Type()) {
            baseLogger2.log(LogLevel::Error, kTag,
                            "Can't find object type: %s, Please register it.", name.c_str());
            internal::Report(status, Status::Failure);
            return nullptr;
        }
        RefPtr<Object> root;
        archive.Serialize<Object>(internal::kRootName, root);
        internal::Report(status, Status::Success);
        return root;
    } catch (const std::exception& error) {
        baseLogger2.log(LogLevel::Error, kTag, "Deserialize failed: %s, type: %s", error.what(),
                        name.c_str());
        internal::Report(status, Status::Failure);
        return nullptr;
    }
}

}  // namespace kiv
