// Marks what the library offers to other modules; every other symbol stays hidden.
//
// An explicit instantiation of a template is written in two places, a header and one source. GCC
// and Clang want the export attribute on the header's line alone, Windows on the source's as well,
// so the two have a macro each.
#ifndef KIV_BASE_EXPORT_H_
#define KIV_BASE_EXPORT_H_

#if defined(_WIN32)
#if defined(KIV_BASE_BUILDING)
#define KIV_BASE_API __declspec(dllexport)
#define KIV_BASE_TEMPLATE_EXTERN
#define KIV_BASE_TEMPLATE_DEFINE __declspec(dllexport)
#else
#define KIV_BASE_API __declspec(dllimport)
#define KIV_BASE_TEMPLATE_EXTERN __declspec(dllimport)
#define KIV_BASE_TEMPLATE_DEFINE
#endif
#else
#define KIV_BASE_API __attribute__((visibility("default")))
#define KIV_BASE_TEMPLATE_EXTERN __attribute__((visibility("default")))
#define KIV_BASE_TEMPLATE_DEFINE
#endif

#endif  // KIV_BASE_EXPORT_H_
