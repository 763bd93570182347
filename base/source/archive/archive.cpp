#include "kiv/base/archive.h"

#include "kiv/base/logging.h"

namespace kiv {
namespace {

constexpr char kTag[] = "Archive";

}  // namespace

Archive::Archive(const std::unordered_map<std::string, Value>& given) : options(given) {}

Archive::~Archive() = default;

bool Archive::_SerializeTypeName(const std::string& expected, std::string& found) {
    found = expected;
    SerializeString("type", found);
    return found == expected;
}

bool Archive::_BeginObjectOrWarn(const StringView& name) {
    if (BeginObject(name))
        return true;
    baseLogger2.log(LogLevel::Warn, kTag, "Failed to begin object for name: %s",
                    std::string(name).c_str());
    return false;
}

bool Archive::_BeginArrayOrWarn(const StringView& name, unsigned int& size) {
    if (BeginArray(name, size))
        return true;
    baseLogger2.log(LogLevel::Warn, kTag, "Failed to begin array for name: %s",
                    std::string(name).c_str());
    return false;
}

}  // namespace kiv
