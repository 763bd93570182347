/* Objects for the C program; each carries one reference, which the caller owns. */
#ifndef KIV_BASE_TESTS_C_INTERFACE_OBJECTS_H_
#define KIV_BASE_TESTS_C_INTERFACE_OBJECTS_H_

#include "kiv/base/cInterface.h"

#ifdef __cplusplus
extern "C" {
#endif

KIV_Base_Object* MakeNamelessObject(void);
KIV_Base_Object* MakeNamedObject(void);
void AddReference(KIV_Base_Object* object);
int CountNamedObjects(void);

#ifdef __cplusplus
}
#endif

#endif /* KIV_BASE_TESTS_C_INTERFACE_OBJECTS_H_ */
