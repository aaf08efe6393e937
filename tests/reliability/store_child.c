/* A process of its own that writes a store while the reliability tests kill it or race it.
 *
 *   store_child crash NAMESPACE FIRST    numbered writes FIRST, FIRST+1, ... of every kind
 *                                        (WriteKind below), each number printed once committed
 *   store_child count NAMESPACE ID ROUNDS  ROUNDS counter increments in transactions, and as
 *                                        many objects "ID-round" written outside them
 *   store_child hold NAMESPACE           opens a transaction, writes, prints "held", sleeps
 *   store_child once NAMESPACE KEY       one write of KEY, then exits
 *   store_child boot NAMESPACE KEY       marks KEY booting, prints "booting", sleeps
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
    int count = 0;
    if (Get(store, "counter", GROUP, COMPONENT, NULL, &counter) == CS_C_NOT_FOUND) {
        CHECK(CreateObject("counter", GROUP, COMPONENT, NULL, "{\"count\": 0}", &counter));
    }
    CHECK(GetValueInt(counter, "count", &count));
    CHECK(SetValueInt(counter, "count", count + 1));
    Write("set", counter);
    CHECK(CommitTransaction(store));
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
    if (strcmp(argv[1], "count") == 0 && argc == 5) {
        for (int round = 0; round < atoi(argv[4]); ++round) {
            Increment();
            char key[64];
            snprintf(key, sizeof key, "%s-%d", argv[3], round);
            Write(round % 2 ? "set" : "vital", Numbered(key, NULL, round + 1));
        }
    } else if (strcmp(argv[1], "once") == 0 && argc == 4) {
        Write("set", Numbered(argv[3], NULL, 1));
    } else if (strcmp(argv[1], "boot") == 0 && argc == 4) {
        CHECK(SetBootStatus(argv[3], GROUP, COMPONENT, NULL, true));
        printf("booting\n");
        fflush(stdout);
        pause();
    } else if (strcmp(argv[1], "hold") == 0) {
        CHECK(BeginTransaction(store));
        Write("set", Numbered("held", NULL, 1));
        printf("held\n");
        fflush(stdout);
        pause();
    }
    return DestroyStore(store);
}
