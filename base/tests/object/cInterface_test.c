/* A C program that holds objects, as a host in another language would. */
#include "kiv/base/cInterface.h"

#include <stdio.h>
#include <string.h>

#include "cInterface_objects.h"

static int failures = 0;

static void expect(int condition, const char* promise) {
    if (condition)
        return;
    fprintf(stderr, "broken: %s\n", promise);
    ++failures;
}

int main(void) {
    KIV_Base_Object* const nameless = MakeNamelessObject();
    KIV_Base_Object* const named = MakeNamedObject();
    const char* const name = KIV_Base_Object_GetName(named);

    expect(KIV_Base_Object_GetName(nameless) == NULL, "a class that gives no name gives null");
    expect(name != NULL && strcmp(name, "lamp") == 0, "the name is the one that the class gives");
    expect(CountNamedObjects() == 1, "asking for the name keeps the object");

    AddReference(named);
    expect(KIV_Base_Object_Release(named) == 0, "a release gives 0");
    expect(CountNamedObjects() == 1, "one of two references keeps the object");
    expect(KIV_Base_Object_Release(named) == 0, "the last release gives 0");
    expect(CountNamedObjects() == 0, "the last release destroys the object");
    KIV_Base_Object_Release(nameless);
    expect(KIV_Base_Object_Release(NULL) == 0, "null is released without a fault");
    return failures;
}
