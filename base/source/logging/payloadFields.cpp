#include "logging/payloadFields.h"

namespace kiv::logging::internal {
namespace {

constexpr std::string_view kDomain = "[domain:";
constexpr std::string_view kTag = "[tag:";

std::string_view FirstLine(std::string_view text) {
    return text.substr(0, text.find_first_of("\n\r"));
}

}  // namespace

PayloadFields SplitPayload(std::string_view payload) {
    std::size_t end = 0;
    for (;;) {
        const std::size_t start = payload.find(kDomain, end);
        if (start == payload.npos)
            return {};
        const std::size_t domainStart = start + kDomain.size();
        const std::size_t domainEnd = payload.find(']', domainStart);
        if (domainEnd == payload.npos)
            return {};
        // A domain that begins before this bracket ends at it and has the same text behind it, so
        // if this one fails, they all do.
        end = domainEnd + 1;
        if (domainEnd == domainStart)
            continue;

        const std::string_view domain = payload.substr(domainStart, domainEnd - domainStart);
        const std::string_view rest = payload.substr(end);
        if (rest.starts_with(kTag)) {
            const std::size_t tagEnd = rest.find(']', kTag.size());
            if (tagEnd != rest.npos && tagEnd > kTag.size()) {
                const std::string_view message = FirstLine(rest.substr(tagEnd + 1));
                if (!message.empty())
                    return {domain, rest.substr(kTag.size(), tagEnd - kTag.size()), message};
            }
        }
        // What is no tag, or has no text behind it, is the text.
        const std::string_view message = FirstLine(rest);
        if (!message.empty())
            return {domain, {}, message};
    }
}

}  // namespace kiv::logging::internal
