/* Drives the library from C through its shared object, on whichever engine the library path
 * selects: a store, an object with a C bool, a transaction, and a text (empty for a call
 * refused) that the caller frees, with the refusal's line and name. The public header comes
 * first: built in strict C99 and C11 too, this shows that it stands alone. */
#include "configstorec.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

int main(void) {
    ConfigStoreStruct* store = NULL;
    ConfigStoreObjectStruct* object = NULL;
    char* text = NULL;
    const int ok =
        GetStore(NULL, &store) == CS_C_OK &&
        CreateObject("fan", "cooling", "board", NULL, "{}", &object) == CS_C_OK &&
        SetValueBool(object, "enabled", true) == CS_C_OK && BeginTransaction(store) == CS_C_OK &&
        Set(store, object, "INTERNAL") == CS_C_OK && CommitTransaction(store) == CS_C_OK &&
        GetValueStr(object, NULL, &text) == CS_C_INVALID_ARGUMENT && text[0] == '\0' &&
        strcmp(ConfigStoreCLastError(), "GetValueStr: argument 'key' not provided") == 0 &&
        strcmp(ConfigStoreCStatusName(CS_C_INVALID_ARGUMENT), "CS_C_INVALID_ARGUMENT") == 0 &&
        DestroyConfigStoreObject(object) == CS_C_OK && DestroyStore(store) == CS_C_OK;
    free(text);
    printf("%s\n", ok ? "ok" : "FAILED");
    return ok ? 0 : 1;
}
