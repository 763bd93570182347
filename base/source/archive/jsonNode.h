// A node of a parsed JSON document: the name, and rapidjson itself for our sources.
#ifndef KIV_BASE_ARCHIVE_JSON_NODE_H_
#define KIV_BASE_ARCHIVE_JSON_NODE_H_

// Before its stacks first grow, rapidjson compares an address behind a null pointer, which Clang's
// sanitizer would report at every document.
#if defined(__clang__)
#pragma clang attribute push(__attribute__((no_sanitize("pointer-overflow"))), apply_to = function)
#endif
#include <rapidjson/document.h>
#if defined(__clang__)
#pragma clang attribute pop
#endif

namespace kiv::internal {

using JsonNode = rapidjson::Value;

}  // namespace kiv::internal

#endif  // KIV_BASE_ARCHIVE_JSON_NODE_H_
