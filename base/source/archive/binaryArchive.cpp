#include "kiv/base/binaryArchive.h"

#include "kiv/base/annotatingArchive.h"

namespace kiv {

BinaryArchive::BinaryArchive(const std::unordered_map<std::string, Value>& given)
    : Archive(given) {}

BinaryArchive::~BinaryArchive() = default;

Archive& BinaryArchive::_ContentsArchive() {
    if (annotator_)
        return *annotator_;
    return *this;
}

}  // namespace kiv
