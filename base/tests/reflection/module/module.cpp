#include "reflection/module/moduleTypes.h"

namespace module_test {

class Newcomer : public Shared {
    KIV_OBJECT(Newcomer, Shared)
public:
    double weight = 2.5;
};

static const bool sharedRegistered = kiv::Registration::Class<Shared>("module_test::Shared")
                                         .Property("x", &Shared::number)
                                         .Creatable();
static const bool newcomerRegistered = kiv::Registration::Class<Newcomer>("module_test::Newcomer")
                                           .Property("weight", &Newcomer::weight)
                                           .Creatable();

extern "C" __attribute__((visibility("default"))) void KivTestModuleReport(ModuleReport& report) {
    report.shared = kiv::Type::Declare<Shared>();
    report.record = kiv::Type::Declare<Record>();
    report.integers = kiv::Type::Declare<kiv::Array<int>>();
    report.sharedRegistered = sharedRegistered;
    report.newcomerRegistered = newcomerRegistered;
    report.recordValue = kiv::Value(Record{1, 2, 3});
    report.integerValue = kiv::Value(5);
}

}  // namespace module_test
