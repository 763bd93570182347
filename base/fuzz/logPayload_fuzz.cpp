// Takes payloads of log messages apart, and holds the fields of short ones against the expression
// that says what they are. Long ones have to come to an end.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <regex>
#include <string>

#include "kiv/base/logSetup.h"
#include "logging/payloadFields.h"

namespace {

void Require(bool condition) {
    if (!condition)
        std::abort();
}

// The standard's matcher calls itself for each character, with frames that sanitizers make large.
constexpr std::size_t kShort = 500;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::regex payload(R"(\[domain:([^\]]+)\](?:\[tag:([^\]]+)\])?(.+))");
    static const std::regex file(R"((\d{4}-\d{2}-\d{2})\.log$)");
    const std::string text(reinterpret_cast<const char*>(data), size);

    const auto fields = kiv::logging::internal::SplitPayload(text);
    std::string date;
    const bool dated = kiv::logging::extractDate(text, date);

    if (size > kShort)
        return 0;
    std::smatch match;
    Require(std::regex_search(text, match, payload) == !fields.domain.empty());
    Require(match.empty() || (fields.domain == match.str(1) && fields.tag == match.str(2) &&
                              fields.message == match.str(3)));
    Require(std::regex_search(text, match, file) == dated);
    Require(!dated || date == match.str(1));
    return 0;
}
