#include "kiv/base/file.h"
#include "platform/linux/directoryDescent.h"

namespace kiv {

using platform::DirectoryDescent;

bool VisitFiles(const UniqueFD& directory, const FileVisitor& visitor) {
    DirectoryDescent descent(directory);
    std::string name;
    while (descent.Next()) {
        name = descent.name();
        if (!visitor(directory, name))
            return false;
    }
    return true;
}

bool VisitFilesRecursively(const UniqueFD& directory, const FileVisitor& visitor) {
    DirectoryDescent descent(directory);
    std::string name;
    do {
        while (descent.Next()) {
            name = descent.name();
            if (!visitor(descent.directory(), name))
                return false;
            if (descent.MayBeDirectory())
                descent.Enter();
        }
    } while (descent.Leave());
    return true;
}

}  // namespace kiv
