// Check sites: conditions that must hold inside the library.
//
//     KIV_CHECK(used_ <= capacity_);
//     KIV_CHECK_EXPLAINED(index < size_, "the index comes from the caller");
//
// A condition that is false is logged as `LogLevel::Fatal` with file, line and text, and execution
// goes on: the statement after a check has to be safe in both cases.
#ifndef KIV_BASE_CHECK_H_
#define KIV_BASE_CHECK_H_

#include "kiv/base/export.h"

namespace kiv::detail {

/// Logs a failed check; `explanation` may be null. All texts are null-terminated. What can't be
/// logged, for want of memory or because of a sink, is dropped. Any thread.
KIV_BASE_API void ReportFailedCheck(const char* file, int line, const char* condition,
                                    const char* explanation) noexcept;

}  // namespace kiv::detail

// Each macro makes a text of its own argument: passed on to the other, a condition would arrive
// with its macros expanded.
#define KIV_CHECK(condition) \
    ((condition) ? (void)0   \
                 : ::kiv::detail::ReportFailedCheck(__FILE__, __LINE__, #condition, nullptr))
#define KIV_CHECK_EXPLAINED(condition, explanation) \
    ((condition) ? (void)0                          \
                 : ::kiv::detail::ReportFailedCheck(__FILE__, __LINE__, #condition, explanation))

#endif  // KIV_BASE_CHECK_H_
