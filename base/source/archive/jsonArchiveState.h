// What a JSON archive holds: the half of its own direction, and the objects that it knows.
#ifndef KIV_BASE_ARCHIVE_JSON_ARCHIVE_STATE_H_
#define KIV_BASE_ARCHIVE_JSON_ARCHIVE_STATE_H_

#include "archive/idMap.h"
#include "archive/jsonReader.h"
#include "archive/jsonWriter.h"
#include "archive/readObjects.h"
#include "kiv/base/jsonArchive.h"

namespace kiv {

struct JsonArchive::State {
    explicit State(const std::unordered_map<std::string, Value>& options) : read_objects(options) {}

    rapidjson::Document::AllocatorType allocator;  // for nodes that are handed out

    internal::JsonWriter writer;
    // What was written or is being written. Kept alive, or another object might take its address,
    // which is its id, while the pass goes on. Null where the writing failed.
    internal::IdMap<RefPtr<Object>> written_objects;

    internal::JsonReader reader;
    internal::ReadObjects read_objects;
};

}  // namespace kiv

#endif  // KIV_BASE_ARCHIVE_JSON_ARCHIVE_STATE_H_
