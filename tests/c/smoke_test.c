/* Drives the library from C through its shared object, on whichever engine the library path
 * selects. Prints one line per check and a closing count. */
#include <stdio.h>
#include <stdlib.h>

#include "configstorec.h"

static int failed = 0;

static void check(int condition, const char* what) {
    printf("%s: %s\n", condition ? "ok" : "FAILED", what);
    failed += !condition;
}

int main(void) {
    ConfigStoreStruct* store = NULL;
    check(GetStore(NULL, &store) == CS_C_OK && store != NULL, "GetStore opens the default store");
    check(DestroyConfigStoreObject(NULL) == CS_C_INVALID_ARGUMENT &&
              DestroyFilterSpecObject(NULL) == CS_C_INVALID_ARGUMENT,
          "the destroyers refuse NULL");

    ConfigStoreObjectStruct* object = NULL;
    check(CreateObject("fan", "cooling", "board", NULL, "{}", &object) == CS_C_OK && object,
          "CreateObject makes an object handle");
    check(SetValueBool(object, "enabled", true) == CS_C_OK, "SetValueBool takes a C bool");
    char* text = (char*)"untouched";
    check(GetValueStr(object, NULL, &text) == CS_C_INVALID_ARGUMENT && text && text[0] == '\0',
          "GetValueStr without a key still hands out an empty string");
    free(text);
    check(BeginTransaction(store) == CS_C_OK && Set(store, object, "INTERNAL") == CS_C_OK &&
              SetVitalDataInstances(store, &object, 1) == CS_C_OK &&
              CommitTransaction(store) == CS_C_OK,
          "writes of an object and a list in a transaction");
    check(DestroyConfigStoreObject(object) == CS_C_OK, "DestroyConfigStoreObject releases it");

    FilterSpecObjectStruct* filter = NULL;
    check(CreateFilterSpecObject("fan", "cooling", "board", NULL, &filter) == CS_C_OK,
          "CreateFilterSpecObject makes a filter handle");
    ConfigStoreObjectStruct** instances = NULL;
    int count = -1;
    check(GetInstances(store, filter, &instances, &count) == CS_C_NOT_FOUND && instances == NULL &&
              count == 0,
          "GetInstances answers not found for an empty selection");
    char* document = NULL;
    check(Export(&filter, 1, &document) == CS_C_OK && document != NULL,
          "Export hands out a document");
    ErrorInfoStruct** errors = NULL;
    check(Import(document, &errors, &count) == CS_C_OK && errors == NULL, "Import takes it back");
    free(document);
    check(DestroyFilterSpecObject(filter) == CS_C_OK && DestroyStore(store) == CS_C_OK,
          "the filter and the store are released");

    printf("%d failed\n", failed);
    return failed == 0 ? 0 : 1;
}
