/* Reads one object back in a process of its own, so that tests see what the store kept rather
 * than what their own process holds in memory.
 *
 *   read_back NAMESPACE KEY GROUP COMPONENT NAME...
 *
 * prints one line per int value, "NAME=VALUE", "NAME absent" or "NAME status N", and exits with
 * the status of GetStore or Get. */
#include <stdio.h>

#include "configstorec.h"

int main(int argc, char** argv) {
    if (argc < 5) {
        fprintf(stderr, "usage: read_back NAMESPACE KEY GROUP COMPONENT NAME...\n");
        return 64;
    }
    ConfigStoreStruct* store = NULL;
    ConfigStoreCStatus status = GetStore(argv[1], &store);
    if (status != CS_C_OK) return status;
    ConfigStoreObjectStruct* object = NULL;
    status = Get(store, argv[2], argv[3], argv[4], NULL, &object);
    for (int i = 5; status == CS_C_OK && i < argc; ++i) {
        int value = 0;
        const ConfigStoreCStatus read = GetValueInt(object, argv[i], &value);
        if (read == CS_C_OK) printf("%s=%d\n", argv[i], value);
        if (read == CS_C_NOT_FOUND) printf("%s absent\n", argv[i]);
        if (read != CS_C_OK && read != CS_C_NOT_FOUND) printf("%s status %d\n", argv[i], read);
    }
    if (object != NULL) DestroyConfigStoreObject(object);
    DestroyStore(store);
    return status;
}
