// The library that nativeLibrary_test.cpp loads.
__attribute__((visibility("default"))) int KivTestAnswer(void) { return 42; }
__attribute__((visibility("default"))) const char kivTestData[] = "of the module";
// Reached as "KivTestPrefixed" too.
__attribute__((visibility("default"))) int _KivTestPrefixed(void) { return 7; }

// Set by the test, which sees by it when the module goes.
__attribute__((visibility("default"))) int* kivTestGone;
__attribute__((destructor)) static void Leave(void) {
    if (kivTestGone)
        ++*kivTestGone;
}
