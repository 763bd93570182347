// Marks what the library offers to other modules; every other symbol stays hidden.
//
// An explicit instantiation of a template is written in two places, a header and one source. GCC
// and Clang want the export attribute on the header's line alone, Windows on the source's as well,
// so the two have a macro each.
//
// This is also the one public header that knows which system it is on: the others name the
// namespace of what belongs to a system, and the type of its handles, by the macros of this one.
#ifndef KIV_BASE_EXPORT_H_
#define KIV_BASE_EXPORT_H_

#if defined(_WIN32)
#define KIV_BASE_SYSTEM oswindows
#define KIV_BASE_FILE_HANDLE void*
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
#define KIV_BASE_SYSTEM oslinux
#define KIV_BASE_FILE_HANDLE int
#define KIV_BASE_API __attribute__((visibility("default")))
#define KIV_BASE_TEMPLATE_EXTERN __attribute__((visibility("default")))
#define KIV_BASE_TEMPLATE_DEFINE
#endif

#endif  // KIV_BASE_EXPORT_H_
