/* A host's network interfaces in the configuration store, as two processes see them.
 *
 *   interfaces write   stores three instances of network/interfaces/interface, each with its
 *                      addresses as sub-objects, in one transaction; shows a refused write
 *   interfaces read    lists the enabled interfaces through a filter spec, with their
 *                      addresses and defaults, then prints the export of the component
 *
 * The schema of the object (examples/components/network/interfaces/interface.json) makes it a
 * multi-instance object, checks its values and gives the defaults of "enabled" and "mtu". The
 * stand-in engine finds it through $CONFIGSTORE_COMPONENTS_DIR and keeps its files in
 * $CONFIGSTORE_DIR; with CONFIGSTORE_LOG=stderr its log lines go to standard error. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "configstorec.h"

#define KEY "interface"
#define GROUP "interfaces"
#define COMPONENT "network"

static void check(ConfigStoreCStatus status, const char* call) {
    if (status == CS_C_OK || status == CS_C_VALUE_IS_DEFAULT) return;
    fprintf(stderr, "interfaces: %s failed with status %d\n", call, status);
    exit(1);
}

struct Interface {
    const char* name;
    const char* document;
    const char* addresses[2][2]; /* sub-object instance id, address */
};

static const struct Interface kInterfaces[] = {
    {"eth0",
     "{\"description\": \"uplink\", \"speed\": 10000}",
     {{"v4", "192.0.2.10/24"}, {"v6", "2001:db8::10/64"}}},
    {"eth1",
     "{\"description\": \"storage\", \"mtu\": 9000, \"speed\": 25000}",
     {{"v4", "198.51.100.7/24"}, {NULL, NULL}}},
    {"wlan0", "{\"description\": \"spare\", \"enabled\": false}", {{NULL, NULL}, {NULL, NULL}}},
};
#define INTERFACES (int)(sizeof kInterfaces / sizeof kInterfaces[0])

static void write_interfaces(ConfigStoreStruct* store) {
    ConfigStoreObjectStruct* objects[INTERFACES];
    for (int i = 0; i < INTERFACES; ++i) {
        const struct Interface* interface = &kInterfaces[i];
        check(
            CreateObject(KEY, GROUP, COMPONENT, interface->name, interface->document, &objects[i]),
            "CreateObject");
        check(AppendValueString(objects[i], "nameservers", "192.0.2.53"), "AppendValueString");
        for (int a = 0; a < 2 && interface->addresses[a][0] != NULL; ++a) {
            /* A sub-object belongs to its parent's handle and is stored by its parent's write. */
            ConfigStoreObjectStruct* address = NULL;
            check(CreateSubObject(objects[i], "address", interface->addresses[a][0], &address),
                  "CreateSubObject");
            check(SetValueStr(address, "address", interface->addresses[a][1]), "SetValueStr");
        }
    }
    check(BeginTransaction(store), "BeginTransaction");
    check(SetInstances(store, objects, INTERFACES, "INTERNAL"), "SetInstances");
    check(CommitTransaction(store), "CommitTransaction");
    printf("stored %d instances of %s/%s/%s\n", INTERFACES, COMPONENT, GROUP, KEY);

    /* The schema keeps an MTU within 68..9216: the store refuses this write and keeps eth0. */
    check(SetValueInt(objects[0], "mtu", 20), "SetValueInt");
    fflush(stdout); /* before the engine's log line on standard error */
    ConfigStoreCStatus status = Set(store, objects[0], "INTERNAL");
    printf("an MTU of 20 is refused: status %d (%s)\n", status,
           status == CS_C_VALIDATION_ERROR ? "CS_C_VALIDATION_ERROR" : "unexpected");
    for (int i = 0; i < INTERFACES; ++i) {
        check(DestroyConfigStoreObject(objects[i]), "DestroyConfigStoreObject");
    }
}

static void print_interface(ConfigStoreObjectStruct* object, FilterSpecObjectStruct* addresses) {
    char *key = NULL, *component = NULL, *group = NULL, *instance = NULL, *text = NULL;
    check(GetConfigStoreObjectId(object, &key, &component, &group, &instance),
          "GetConfigStoreObjectId");
    check(GetValueStr(object, "description", &text), "GetValueStr");
    int mtu = 0;
    ConfigStoreCStatus mtuStatus = GetValueInt(object, "mtu", &mtu);
    check(mtuStatus, "GetValueInt");
    printf("  %-6s %-8s mtu %d%s\n", instance, text, mtu,
           mtuStatus == CS_C_VALUE_IS_DEFAULT ? " (default)" : "");
    free(key);
    free(component);
    free(group);
    free(instance);
    free(text);

    ConfigStoreObjectStruct** subObjects = NULL;
    int count = 0;
    check(GetSubObjectInstances(object, addresses, &subObjects, &count), "GetSubObjectInstances");
    for (int i = 0; i < count; ++i) {
        check(GetValueStr(subObjects[i], "address", &text), "GetValueStr");
        printf("         address %s\n", text);
        free(text);
    }
    free(subObjects); /* the sub-object handles belong to their parent */
}

static void read_interfaces(void) {
    ConfigStoreStruct* store = NULL;
    check(GetStore(NULL, &store), "GetStore");
    char* version = NULL;
    check(GetSchemaVersion(KEY, GROUP, COMPONENT, &version), "GetSchemaVersion");
    printf("%s/%s/%s, schema version %s\n", COMPONENT, GROUP, KEY, version);
    free(version);

    /* Enabled interfaces: "enabled" is true by default, so eth0 and eth1 match. */
    FilterSpecObjectStruct* enabled = NULL;
    FilterSpecObjectStruct* addresses = NULL;
    check(CreateFilterSpecObject(KEY, GROUP, COMPONENT, NULL, &enabled), "CreateFilterSpecObject");
    check(SetValueFsoBool(enabled, "enabled", true), "SetValueFsoBool");
    check(CreateFilterSpecObject("address", "", "", NULL, &addresses), "CreateFilterSpecObject");
    ConfigStoreObjectStruct** objects = NULL;
    int count = 0;
    ConfigStoreCStatus status = GetInstances(store, enabled, &objects, &count);
    if (status == CS_C_NOT_FOUND) {
        printf("nothing stored yet: run 'interfaces write' first\n");
        exit(1);
    }
    check(status, "GetInstances");
    printf("enabled interfaces (%d):\n", count);
    for (int i = 0; i < count; ++i) {
        print_interface(objects[i], addresses);
        check(DestroyConfigStoreObject(objects[i]), "DestroyConfigStoreObject");
    }
    free(objects);

    /* The whole component as an exchange document: Import takes it back. */
    FilterSpecObjectStruct* network = NULL;
    check(CreateFilterSpecObject("", "", COMPONENT, NULL, &network), "CreateFilterSpecObject");
    char* document = NULL;
    check(Export(&network, 1, &document), "Export");
    printf("export of component %s:\n%s\n", COMPONENT, document);
    free(document);
    check(DestroyFilterSpecObject(network), "DestroyFilterSpecObject");
    check(DestroyFilterSpecObject(addresses), "DestroyFilterSpecObject");
    check(DestroyFilterSpecObject(enabled), "DestroyFilterSpecObject");
    DestroyStore(store);
}

int main(int argc, char** argv) {
    if (argc != 2 || (strcmp(argv[1], "write") != 0 && strcmp(argv[1], "read") != 0)) {
        fprintf(stderr, "usage: interfaces write|read\n");
        return 64;
    }
    if (strcmp(argv[1], "write") == 0) {
        ConfigStoreStruct* store = NULL;
        check(GetStore(NULL, &store), "GetStore"); /* the default namespace, as Export's */
        write_interfaces(store);
        DestroyStore(store);
    } else {
        read_interfaces();
    }
    return 0;
}
