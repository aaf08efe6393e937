/* Drives the library from C through its shared object, on whichever engine the library path
 * selects. Prints one line per check and a closing count. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

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

    ConfigStoreObjectStruct* object = NULL;
    check(CreateObject("fan", "cooling", "board", NULL, "{}", &object) == CS_C_OK && object,
          "CreateObject makes an object handle");
    check(SetValueInt(object, "speed", 3) == CS_C_OK, "SetValueInt writes a value");
    check(SetValueBool(object, "enabled", true) == CS_C_OK, "SetValueBool takes a C bool");
    int speed = -1;
    check(GetValueInt(object, "speed", &speed) == CS_C_NOT_FOUND && speed == -1,
          "GetValueInt reports what the engine reports and leaves the value to it");
    char* text = (char*)"untouched";
    check(GetValueStr(object, NULL, &text) == CS_C_INVALID_ARGUMENT && text && text[0] == '\0',
          "GetValueStr without a key still hands out an empty string");
    free(text);
    char *key = NULL, *component = NULL, *group = NULL, *instanceId = NULL;
    check(GetConfigStoreObjectId(object, &key, &component, &group, &instanceId) == CS_C_OK &&
              strcmp(key, "fan") == 0 && strcmp(component, "board") == 0 &&
              strcmp(group, "cooling") == 0 && instanceId == NULL,
          "GetConfigStoreObjectId hands out key, component and group");
    free(key);
    free(component);
    free(group);
    check(GetStore(NULL, &store) == CS_C_OK, "GetStore opens a store for writing");
    check(BeginTransaction(store) == CS_C_OK, "BeginTransaction");
    check(Set(store, object, "INTERNAL") == CS_C_OK, "Set writes the object");
    check(Update(store, object, "internal") == CS_C_INVALID_ARGUMENT,
          "Update refuses an unknown context");
    check(SetVitalDataInstances(store, &object, 1) == CS_C_OK,
          "SetVitalDataInstances writes a list");
    check(CommitTransaction(store) == CS_C_OK, "CommitTransaction");
    check(DestroyConfigStoreObject(object) == CS_C_OK, "DestroyConfigStoreObject releases it");

    FilterSpecObjectStruct* filter = NULL;
    check(CreateFilterSpecObject("fan", "cooling", "board", NULL, &filter) == CS_C_OK,
          "CreateFilterSpecObject makes a filter handle");
    check(SetValueFsoStr(filter, "speed", "3") == CS_C_OK, "SetValueFsoStr writes to it");
    ConfigStoreObjectStruct** instances = NULL;
    int count = -1;
    check(GetInstances(store, filter, &instances, &count) == CS_C_NOT_FOUND && instances == NULL &&
              count == 0,
          "GetInstances answers not found for an empty selection");
    check(DeleteInstances(store, filter) == CS_C_OK, "DeleteInstances takes the filter");
    char* document = NULL;
    check(Export(&filter, 1, &document) == CS_C_OK && document != NULL,
          "Export hands out a document");
    ErrorInfoStruct** errors = NULL;
    int errorCount = 0;
    check(Import(document, &errors, &errorCount) == CS_C_OK && errors == NULL && errorCount == 0,
          "Import takes it back");
    free(document);
    check(Import(NULL, &errors, &errorCount) == CS_C_INVALID_ARGUMENT, "Import needs a document");
    check(DestroyErrorInfoList(&errors, errorCount) == CS_C_OK, "DestroyErrorInfoList");
    check(DestroyFilterSpecObject(filter) == CS_C_OK, "DestroyFilterSpecObject releases it");
    check(DestroyStore(store) == CS_C_OK, "DestroyStore releases the store");

    printf("%d passed, %d failed\n", passed, failed);
    return failed == 0 ? 0 : 1;
}
