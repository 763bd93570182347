#include <kiv/base/status.h>

// Ends with 0 if the library's constants have reached this module.
int main() {
    return kiv::Status::InvalidParameter.code() == kiv::StatusCode{6} ? 0 : 1;
}
