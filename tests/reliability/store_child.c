/* A process of its own that writes a store while the reliability tests kill it or race it.
 *
 *   store_child crash NAMESPACE FIRST  numbered writes FIRST, FIRST+1, ... (WriteNumbered), each
 *                                      number printed once committed
 *   store_child first NAMESPACE KEY    increments "counter" in a transaction, then writes KEY
 *   store_child hold NAMESPACE         opens a transaction, writes, prints "ready", sleeps
 *   store_child boot NAMESPACE KEY     marks KEY booting, prints "ready", sleeps
 *   store_child read NAMESPACE KEY[/INSTANCE] GROUP COMPONENT NAME...
 *       prints int values: "NAME=VALUE", "NAME=VALUE default", "NAME absent" or "NAME status N";
 *       NAME SUBKEY/SUBINSTANCE/VALUE is a sub-object's value ("dns//port" for a singleton)
 *
 * The store's environment comes from the parent. A failure exits with its status; its log
 * line is on standard error. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "configstorec.h"

#define CHECK(call)                             \
    do {                                        \
        const ConfigStoreCStatus status = call; \
        if (status != CS_C_OK) exit(status);    \
    } while (0)

static ConfigStoreStruct* store;

/* The document of write number n: the number, and a text of it spanning a few pages. */
static ConfigStoreObjectStruct* Numbered(const char* key, const char* instance, long n) {
    char document[6100];
    int at = snprintf(document, sizeof document, "{\"n\": %ld, \"text\": \"", n);
    while (at < 6000) at += snprintf(document + at, sizeof document - at, "%ld.", n);
    snprintf(document + at, sizeof document - at, "\"}");
    ConfigStoreObjectStruct* object = NULL;
    CHECK(CreateObject(key, "reliability", "tests", instance, document, &object));
    return object;
}

/* Writes `object` with write `kind`, 0 to 3: set, user, vital, cached; releases it. */
static void Write(int kind, ConfigStoreObjectStruct* object) {
    CHECK(kind == 0   ? Set(store, object, "EXTERNAL")
          : kind == 1 ? SetUserData(store, object, "EXTERNAL")
          : kind == 2 ? SetVitalData(store, object)
                      : SetCachedData(store, object));
    DestroyConfigStoreObject(object);
}

/* Write n % 4: a Set, cached data, a transaction over four classes, a list. The test reads the
 * same objects (ReliabilityTest.cpp). */
static void WriteNumbered(long n) {
    const int kind = (int)(n % 4);
    if (kind < 2) {
        Write(kind * 3, Numbered(kind == 0 ? "set" : "cached", NULL, n));
    } else if (kind == 2) {
        CHECK(BeginTransaction(store));
        for (int i = 0; i < 4; ++i) {
            Write(i, Numbered((const char*[]){"tx0", "tx1", "tx2", "tx3"}[i], NULL, n));
        }
        CHECK(CommitTransaction(store));
    } else {
        ConfigStoreObjectStruct* list[3];
        for (int i = 0; i < 3; ++i)
            list[i] = Numbered("list", (const char*[]){"a", "b", "c"}[i], n);
        CHECK(SetInstances(store, list, 3, "INTERNAL"));
        for (int i = 0; i < 3; ++i) DestroyConfigStoreObject(list[i]);
    }
}

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
    int number = 0;
    ConfigStoreCStatus read = CS_C_OK;
    if (value != NULL) { /* the value of a sub-object, a borrowed handle */
        read = GetSubObject(object, name, instance, &object);
        name = value;
    }
    if (read == CS_C_OK) read = GetValueInt(object, name, &number);
    if (read == CS_C_OK || read == CS_C_VALUE_IS_DEFAULT) {
        printf("%s=%d%s\n", label, number, read == CS_C_OK ? "" : " default");
    } else {
        printf(read == CS_C_NOT_FOUND ? "%s absent\n" : "%s status %d\n", label, read);
    }
}

int main(int argc, char** argv) {
    if (argc < 3) return 64;
    CHECK(GetStore(argv[2], &store));
    const char* command = argv[1];
    if (strcmp(command, "crash") == 0 && argc == 4) {
        for (long n = atol(argv[3]);; ++n) {
            WriteNumbered(n);
            printf("%ld\n", n);
            fflush(stdout);
        }
    } else if (strcmp(command, "first") == 0 && argc == 4) {
        /* A read-modify-write of the shared counter: safe in a transaction, which writes at once.
         */
        CHECK(BeginTransaction(store));
        ConfigStoreObjectStruct* counter = NULL;
        long long count = 0;
        const ConfigStoreCStatus found =
            Get(store, "counter", "reliability", "tests", NULL, &counter);
        if (found != CS_C_NOT_FOUND) {
            CHECK(found);
            CHECK(GetValueLonglong(counter, "n", &count));
            DestroyConfigStoreObject(counter);
        }
        Write(0, Numbered("counter", NULL, (long)count + 1));
        CHECK(CommitTransaction(store));
        Write(0, Numbered(argv[3], NULL, 1));
    } else if (strcmp(command, "read") == 0 && argc >= 6) {
        ConfigStoreObjectStruct* object = NULL;
        const char* instance = CutAtSlash(argv[3]);
        CHECK(Get(store, argv[3], argv[4], argv[5], instance, &object));
        for (int i = 6; i < argc; ++i) PrintValue(object, argv[i]);
        DestroyConfigStoreObject(object);
    } else if (strcmp(command, "hold") == 0) {
        CHECK(BeginTransaction(store));
        Write(0, Numbered("held", NULL, 1));
    } else if (strcmp(command, "boot") == 0 && argc == 4) {
        CHECK(SetBootStatus(argv[3], "reliability", "tests", NULL, true));
    }
    if (strcmp(command, "hold") == 0 || strcmp(command, "boot") == 0) {
        printf("ready\n");
        fflush(stdout);
        pause();
    }
    return DestroyStore(store);
}
