// What the test and the module that it loads have in common: the types that both declare, and what
// the module tells about itself.
#ifndef KIV_BASE_TESTS_MODULE_TYPES_H_
#define KIV_BASE_TESTS_MODULE_TYPES_H_

#include "kiv/base/object.h"
#include "kiv/base/registration.h"
#include "kiv/base/value.h"

namespace module_test {

/// Registered by the test program, and once more by the module.
class Shared : public kiv::Object {
    KIV_OBJECT(Shared, kiv::Object)
public:
    int number = 1;
};

/// Declared by both, registered by nobody.
struct Record {
    int a = 0;
    int b = 0;
    int c = 0;
    bool operator==(const Record&) const = default;
};

struct ModuleReport {
    kiv::Type shared;
    kiv::Type record;
    kiv::Type integers;
    bool sharedRegistered;
    bool newcomerRegistered;
    kiv::Value recordValue;
    kiv::Value integerValue;
};

using ReportFunction = void (*)(ModuleReport& report);

}  // namespace module_test

#endif  // KIV_BASE_TESTS_MODULE_TYPES_H_
