/* A process of its own that writes a store while the reliability tests kill it or race it.
 *
 *   store_child crash NAMESPACE FIRST    numbered writes FIRST, FIRST+1, ... of every kind
 *                                        (WriteKind below), each number printed once committed
 *   store_child first NAMESPACE KEY      increments "counter" in a transaction, then writes KEY
 *   store_child hold NAMESPACE           opens a transaction, writes, prints "held", sleeps
 *   store_child boot NAMESPACE KEY       marks KEY booting, prints "booting", sleeps
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

#define GROUP "reliability"
#define COMPONENT "tests"
#define CHECK(call)                             \
    do {                                        \
        const ConfigStoreCStatus status = call; \
        if (status != CS_C_OK) exit(status);    \
    } while (0)

static ConfigStoreStruct* store;

/* The document of write number n: the number, and a text of it spanning a few pages. */
static ConfigStoreObjectStruct* Numbered(const char* key, const char* instance, long n) {
    static char text[6000], document[6100];
    const int length = snprintf(text, 32, "%ld.", n);
    int at = length;
    for (; at + length < (int)sizeof text; at += length) memcpy(text + at, text, length);
    text[at] = '\0';
    snprintf(document, sizeof document, "{\"n\": %ld, \"text\": \"%s\"}", n, text);
    ConfigStoreObjectStruct* object = NULL;
    CHECK(CreateObject(key, GROUP, COMPONENT, instance, document, &object));
    return object;
}

/* Writes `object` with the write `kind` names and releases it. */
static void Write(const char* kind, ConfigStoreObjectStruct* object) {
    if (strcmp(kind, "set") == 0) CHECK(Set(store, object, "EXTERNAL"));
    if (strcmp(kind, "update") == 0) CHECK(Update(store, object, "INTERNAL"));
    if (strcmp(kind, "user") == 0) CHECK(SetUserData(store, object, "EXTERNAL"));
    if (strcmp(kind, "vital") == 0) CHECK(SetVitalData(store, object));
    if (strcmp(kind, "cached") == 0) CHECK(SetCachedData(store, object));
    DestroyConfigStoreObject(object);
}

/* Write n % 7: one of each single write, a transaction over four classes, a list. The test
 * reads the same objects (ReliabilityTest.cpp). */
static void WriteNumbered(long n) {
    static const char* const singles[] = {"set", "update", "user", "vital", "cached"};
    const int kind = (int)(n % 7);
    if (kind < 5) {
        Write(singles[kind], Numbered(singles[kind], NULL, n));
    } else if (kind == 5) {
        CHECK(BeginTransaction(store));
        for (int i = 0; i < 4; ++i) {
            char key[8];
            snprintf(key, sizeof key, "tx%d", i);
            Write(singles[i == 0 ? 0 : i + 1], Numbered(key, NULL, n));
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

/* One read-modify-write of the shared counter: safe in a transaction, which writes at once. */
static void Increment(void) {
    CHECK(BeginTransaction(store));
    ConfigStoreObjectStruct* counter = NULL;
    long long count = 0;
    const ConfigStoreCStatus found = Get(store, "counter", GROUP, COMPONENT, NULL, &counter);
    if (found != CS_C_NOT_FOUND) {
        CHECK(found);
        CHECK(GetValueLonglong(counter, "n", &count));
        DestroyConfigStoreObject(counter);
    }
    Write("set", Numbered("counter", NULL, (long)count + 1));
    CHECK(CommitTransaction(store));
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
    ConfigStoreCStatus read = CS_C_OK;
    if (value != NULL) { /* the value of a sub-object, a borrowed handle */
        read = GetSubObject(object, name, instance, &object);
        name = value;
    }
    int number = 0;
    if (read == CS_C_OK) read = GetValueInt(object, name, &number);
    if (read == CS_C_OK || read == CS_C_VALUE_IS_DEFAULT) {
        printf("%s=%d%s\n", label, number, read == CS_C_OK ? "" : " default");
    } else if (read == CS_C_NOT_FOUND) {
        printf("%s absent\n", label);
    } else {
        printf("%s status %d\n", label, read);
    }
}

int main(int argc, char** argv) {
    if (argc < 3) return 64;
    CHECK(GetStore(argv[2], &store));
    if (strcmp(argv[1], "crash") == 0 && argc == 4) {
        for (long n = atol(argv[3]);; ++n) {
            WriteNumbered(n);
            char line[32];
            if (write(STDOUT_FILENO, line, (size_t)snprintf(line, sizeof line, "%ld\n", n)) < 0)
                return 1;
        }
    }
    if (strcmp(argv[1], "first") == 0 && argc == 4) {
        Increment();
        Write("set", Numbered(argv[3], NULL, 1));
    } else if (strcmp(argv[1], "boot") == 0 && argc == 4) {
        CHECK(SetBootStatus(argv[3], GROUP, COMPONENT, NULL, true));
        printf("booting\n");
        fflush(stdout);
        pause();
    } else if (strcmp(argv[1], "read") == 0 && argc >= 6) {
        ConfigStoreObjectStruct* object = NULL;
        const char* instance = CutAtSlash(argv[3]);
        CHECK(Get(store, argv[3], argv[4], argv[5], instance, &object));
        for (int i = 6; i < argc; ++i) PrintValue(object, argv[i]);
        DestroyConfigStoreObject(object);
    } else if (strcmp(argv[1], "hold") == 0) {
        CHECK(BeginTransaction(store));
        Write("set", Numbered("held", NULL, 1));
        printf("held\n");
        fflush(stdout);
        pause();
    }
    return DestroyStore(store);
}
