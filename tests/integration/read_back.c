/* Reads what the store kept in a process of its own, so that tests see the store rather than
 * what their own process holds in memory.
 *
 *   read_back NAMESPACE KEY[/INSTANCE] GROUP COMPONENT NAME...
 *
 * prints one line per int value, "NAME=VALUE", "NAME=VALUE default", "NAME absent" or "NAME
 * status N", and exits with the status of GetStore or Get. A NAME of the form
 * SUBKEY/SUBINSTANCE/VALUE reads a value of a sub-object ("dns//port" for a singleton). */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "configstorec.h"

/* Cuts `text` at its first '/': the text after it, or NULL when there is none. */
static char* CutAtSlash(char* text) {
    char* slash = strchr(text, '/');
    if (slash == NULL) return NULL;
    *slash = '\0';
    return slash + 1;
}

static void PrintValue(ConfigStoreObjectStruct* object, char* name) {
    char label[256];
    snprintf(label, sizeof label, "%s", name);
    char* instance = CutAtSlash(name);
    char* value = instance != NULL ? CutAtSlash(instance) : NULL;
    ConfigStoreCStatus read = CS_C_OK;
    if (value != NULL) { /* the value of a sub-object, a borrowed handle */
        read = GetSubObject(object, name, instance, &object);
        name = value;
    }
    int number = 0;
    if (read == CS_C_OK) read = GetValueInt(object, name, &number);
    if (read == CS_C_OK) printf("%s=%d\n", label, number);
    if (read == CS_C_VALUE_IS_DEFAULT) printf("%s=%d default\n", label, number);
    if (read == CS_C_NOT_FOUND) printf("%s absent\n", label);
    if (read != CS_C_OK && read != CS_C_VALUE_IS_DEFAULT && read != CS_C_NOT_FOUND) {
        printf("%s status %d\n", label, read);
    }
}

int main(int argc, char** argv) {
    if (argc < 5) return 64; /* the usage above */
    ConfigStoreStruct* store = NULL;
    ConfigStoreCStatus status = GetStore(argv[1], &store);
    if (status != CS_C_OK) return status;
    ConfigStoreObjectStruct* object = NULL;
    const char* instance = CutAtSlash(argv[2]);
    status = Get(store, argv[2], argv[3], argv[4], instance, &object);
    for (int i = 5; status == CS_C_OK && i < argc; ++i) PrintValue(object, argv[i]);
    if (object != NULL) DestroyConfigStoreObject(object);
    DestroyStore(store);
    return status;
}
