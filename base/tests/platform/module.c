// The library that nativeLibrary_test.cpp loads.
#include <unistd.h>

__attribute__((visibility("default"))) int KivTestAnswer(void) { return 42; }
__attribute__((visibility("default"))) const char kivTestData[] = "of the module";
__attribute__((visibility("default"))) _Thread_local int kivTestOfThread = 5;
// Reached as "abs" too, though that is in the C library, which is needed here.
__attribute__((visibility("default"))) int _abs(void) { return getpid() > 0 ? 7 : 0; }

// Set by the test, which sees by it when the module goes.
__attribute__((visibility("default"))) int* kivTestGone;
__attribute__((destructor)) static void Leave(void) {
    if (kivTestGone)
        ++*kivTestGone;
}
