/* Two functions for a caller that holds an object across a C boundary; a header for C as well.
 *
 *     const char* name = KIV_Base_Object_GetName(object);
 *     puts(name ? name : "(no name)");  // a class that is known to terminate its name
 *     KIV_Base_Object_Release(object);
 *
 * A handle is a `kiv::Object*` that carries one reference, which the caller owns. Both functions
 * may be called from any thread. */
#ifndef KIV_BASE_C_INTERFACE_H_
#define KIV_BASE_C_INTERFACE_H_

#include "kiv/base/export.h"

#ifdef __cplusplus
namespace kiv {
class Object;
}
typedef kiv::Object KIV_Base_Object;
extern "C" {
#else
typedef struct KIV_Base_Object KIV_Base_Object;
#endif

/* The characters of the object's name; null if its class gives it none. The text belongs to the
 * object, so the caller keeps its reference while it reads, and ends in a null character only if
 * the class sees to that. `object` is not null. An exception from the `GetName` of the class passes
 * on to the caller, which C code does not bear: it ends the process there. */
KIV_BASE_API const char* KIV_Base_Object_GetName(KIV_Base_Object* object);

/* Gives up the caller's reference; with the last one the object goes. `object` may be null. Always
 * 0. */
KIV_BASE_API int KIV_Base_Object_Release(KIV_Base_Object* object);

#ifdef __cplusplus
}
#endif

#endif /* KIV_BASE_C_INTERFACE_H_ */
