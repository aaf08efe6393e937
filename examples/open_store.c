/* Opens the store of a namespace (the default one without an argument), reports each step and
 * releases it again. Which engine answers is decided by the library path. */
#include <stdio.h>

#include "configstorec.h"

int main(int argc, char** argv) {
    const char* nameSpace = argc > 1 ? argv[1] : NULL;
    ConfigStoreStruct* store = NULL;

    ConfigStoreCStatus status = GetStore(nameSpace, &store);
    printf("GetStore(%s) returned %d%s\n", nameSpace ? nameSpace : "default namespace", status,
           status == CS_C_OK ? ": store opened" : "");
    if (status != CS_C_OK) return 1;

    status = DestroyStore(store);
    printf("DestroyStore returned %d: store released\n", status);
    return status == CS_C_OK ? 0 : 1;
}
