/* Drives the library from C through its shared object, on whichever engine the library path
 * selects. Prints one line per check and a closing count. */
#include <stdio.h>

#include "configstorec.h"

static int passed = 0;
static int failed = 0;

static void check(int condition, const char* what) {
    printf("%s: %s\n", condition ? "ok" : "FAILED", what);
    if (condition) {
        ++passed;
    } else {
        ++failed;
    }
}

int main(void) {
    ConfigStoreStruct* store = NULL;
    check(GetStore(NULL, &store) == CS_C_OK && store != NULL, "GetStore opens the default store");
    check(DestroyStore(store) == CS_C_OK, "DestroyStore releases it");

    store = NULL;
    check(GetStore("", &store) == CS_C_OK && store != NULL, "GetStore accepts an empty namespace");
    check(DestroyStore(store) == CS_C_OK, "DestroyStore releases that store too");

    check(DestroyStore(NULL) == CS_C_OK, "DestroyStore(NULL) is a no-op");
    check(DestroyConfigStoreObject(NULL) == CS_C_INVALID_ARGUMENT,
          "DestroyConfigStoreObject(NULL) is refused");
    check(DestroyFilterSpecObject(NULL) == CS_C_INVALID_ARGUMENT,
          "DestroyFilterSpecObject(NULL) is refused");

    printf("%d passed, %d failed\n", passed, failed);
    return failed == 0 ? 0 : 1;
}
