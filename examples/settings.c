/* Stores the settings of a network interface, or reads them back, on whichever engine the
 * library path selects (the stand-in engine by default).
 *
 *   settings write   stores the object in one transaction
 *   settings read    fetches it and prints every value
 *
 * The stand-in engine keeps its files in $CONFIGSTORE_DIR (cached data in
 * $CONFIGSTORE_RUNTIME_DIR); with CONFIGSTORE_LOG=stderr its log lines go to standard error. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "configstorec.h"

#define KEY "eth0"
#define GROUP "interfaces"
#define COMPONENT "network"

/* Stops the program with the failing call's name and status; the engine's log says why. */
static void check(ConfigStoreCStatus status, const char* call) {
    if (status == CS_C_OK) return;
    fprintf(stderr, "settings: %s failed with status %d\n", call, status);
    exit(1);
}

static void write_settings(ConfigStoreStruct* store) {
    ConfigStoreObjectStruct* object = NULL;
    /* The object's document is JSON text; the typed writes below add to it. */
    check(CreateObject(KEY, GROUP, COMPONENT, NULL, "{\"description\": \"uplink\"}", &object),
          "CreateObject");
    check(SetValueInt(object, "mtu", 9000), "SetValueInt");
    check(SetValueUint16(object, "vlan", 42), "SetValueUint16");
    check(SetValueBool(object, "enabled", true), "SetValueBool");
    check(SetValueDouble(object, "weight", 0.75), "SetValueDouble");
    check(SetValueStr(object, "address", "192.0.2.10/24"), "SetValueStr");
    check(AppendValueString(object, "dns", "192.0.2.53"), "AppendValueString");
    check(AppendValueString(object, "dns", "198.51.100.53"), "AppendValueString");

    /* Both writes commit together or not at all. */
    check(BeginTransaction(store), "BeginTransaction");
    check(Set(store, object, "INTERNAL"), "Set");
    check(SetValueLonglong(object, "rx_bytes", 123456789012LL), "SetValueLonglong");
    check(SetCachedData(store, object), "SetCachedData");
    check(CommitTransaction(store), "CommitTransaction");
    check(DestroyConfigStoreObject(object), "DestroyConfigStoreObject");
    printf("stored %s/%s/%s\n", COMPONENT, GROUP, KEY);
}

static void read_settings(ConfigStoreStruct* store) {
    ConfigStoreObjectStruct* object = NULL;
    ConfigStoreCStatus status = Get(store, KEY, GROUP, COMPONENT, NULL, &object);
    if (status == CS_C_NOT_FOUND) {
        printf("%s/%s/%s is not stored yet: run 'settings write' first\n", COMPONENT, GROUP, KEY);
        exit(1);
    }
    check(status, "Get");

    char* version = NULL;
    check(GetVersion(object, &version), "GetVersion");
    printf("%s/%s/%s (version %s)\n", COMPONENT, GROUP, KEY, version);
    free(version);

    char* text = NULL;
    check(GetValueStr(object, "description", &text), "GetValueStr");
    printf("  description = %s\n", text);
    free(text);
    check(GetValueStr(object, "address", &text), "GetValueStr");
    printf("  address     = %s\n", text);
    free(text);

    int mtu = 0;
    unsigned short vlan = 0;
    bool enabled = false;
    double weight = 0;
    long long rxBytes = 0;
    check(GetValueInt(object, "mtu", &mtu), "GetValueInt");
    check(GetValueUint16(object, "vlan", &vlan), "GetValueUint16");
    check(GetValueBool(object, "enabled", &enabled), "GetValueBool");
    check(GetValueDouble(object, "weight", &weight), "GetValueDouble");
    check(GetValueLonglong(object, "rx_bytes", &rxBytes), "GetValueLonglong");
    printf("  mtu         = %d\n  vlan        = %u\n  enabled     = %s\n  weight      = %g\n", mtu,
           vlan, enabled ? "true" : "false", weight);
    printf("  rx_bytes    = %lld (cached data)\n", rxBytes);

    char** dns = NULL;
    int count = 0;
    check(GetValueStringArray(object, "dns", &dns, &count), "GetValueStringArray");
    for (int i = 0; i < count; ++i) printf("  dns[%d]      = %s\n", i, dns[i]);
    DestroyStringArrayValue(&dns, count);

    check(DestroyConfigStoreObject(object), "DestroyConfigStoreObject");
}

int main(int argc, char** argv) {
    if (argc != 2 || (strcmp(argv[1], "write") != 0 && strcmp(argv[1], "read") != 0)) {
        fprintf(stderr, "usage: settings write|read\n");
        return 64;
    }
    ConfigStoreStruct* store = NULL;
    check(GetStore(NULL, &store), "GetStore");
    if (strcmp(argv[1], "write") == 0) {
        write_settings(store);
    } else {
        read_settings(store);
    }
    DestroyStore(store);
    return 0;
}
