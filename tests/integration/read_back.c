/* Reads one object back in a process of its own, so that tests see what the store kept rather
 * than what their own process holds in memory.
 *
 *   read_back NAMESPACE KEY GROUP COMPONENT TYPE:NAME...
 *
 * prints one line per value, "NAME=VALUE", "NAME absent" or "NAME status N", and exits with the
 * status of GetStore or Get. TYPE is one of int uint16 uint32 long longlong bool double str strs bin ints
 * longlongs doubles bools; lists print as [a,b], binary values as hex bytes. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "configstorec.h"

typedef ConfigStoreObjectStruct Object;

/* Prints a read's outcome; true when the value itself is to be printed. */
static bool report(ConfigStoreCStatus status, const char* name) {
    if (status == CS_C_NOT_FOUND) printf("%s absent\n", name);
    if (status != CS_C_OK && status != CS_C_NOT_FOUND) printf("%s status %d\n", name, status);
    if (status == CS_C_OK) printf("%s=", name);
    return status == CS_C_OK;
}

#define PRINT_SCALAR(reader, type, format, cast)          \
    do {                                                  \
        type value = 0;                                   \
        if (report(reader(object, name, &value), name)) { \
            printf(format "\n", (cast)value);             \
        }                                                 \
    } while (0)

#define PRINT_LIST(reader, type, format, cast)                         \
    do {                                                               \
        type* values = NULL;                                           \
        int count = 0;                                                 \
        if (report(reader(object, name, &values, &count), name)) {     \
            printf("[");                                               \
            for (int i = 0; i < count; ++i) {                          \
                printf(i == 0 ? format : "," format, (cast)values[i]); \
            }                                                          \
            printf("]\n");                                             \
        }                                                              \
        free(values);                                                  \
    } while (0)

static void print_value(Object* object, const char* type, const char* name) {
    if (strcmp(type, "int") == 0) PRINT_SCALAR(GetValueInt, int, "%d", int);
    if (strcmp(type, "uint16") == 0) PRINT_SCALAR(GetValueUint16, unsigned short, "%u", unsigned);
    if (strcmp(type, "uint32") == 0) PRINT_SCALAR(GetValueUint32, unsigned, "%u", unsigned);
    if (strcmp(type, "long") == 0) PRINT_SCALAR(GetValueLong, long, "%ld", long);
    if (strcmp(type, "longlong") == 0) PRINT_SCALAR(GetValueLonglong, long long, "%lld", long long);
    if (strcmp(type, "bool") == 0) PRINT_SCALAR(GetValueBool, bool, "%d", int);
    if (strcmp(type, "double") == 0) PRINT_SCALAR(GetValueDouble, double, "%.17g", double);
    if (strcmp(type, "ints") == 0) PRINT_LIST(GetValueIntArray, int, "%d", int);
    if (strcmp(type, "longlongs") == 0)
        PRINT_LIST(GetValueLonglongArray, long long, "%lld", long long);
    if (strcmp(type, "doubles") == 0) PRINT_LIST(GetValueDoubleArray, double, "%.17g", double);
    if (strcmp(type, "bools") == 0) PRINT_LIST(GetValueBoolArray, bool, "%d", int);
    if (strcmp(type, "str") == 0) {
        char* text = NULL;
        if (report(GetValueStr(object, name, &text), name)) printf("%s\n", text);
        free(text);
    }
    if (strcmp(type, "strs") == 0) {
        char** texts = NULL;
        int count = 0;
        if (report(GetValueStringArray(object, name, &texts, &count), name)) {
            printf("[");
            for (int i = 0; i < count; ++i) printf(i == 0 ? "%s" : ",%s", texts[i]);
            printf("]\n");
        }
        DestroyStringArrayValue(&texts, count);
    }
    if (strcmp(type, "bin") == 0) {
        unsigned char* data = NULL;
        unsigned long size = 0;
        if (report(GetValueBinary(object, name, &data, &size), name)) {
            for (unsigned long i = 0; i < size; ++i) printf("%02x", data[i]);
            printf("\n");
        }
        free(data);
    }
}

int main(int argc, char** argv) {
    if (argc < 5) {
        fprintf(stderr, "usage: read_back NAMESPACE KEY GROUP COMPONENT TYPE:NAME...\n");
        return 64;
    }
    ConfigStoreStruct* store = NULL;
    ConfigStoreCStatus status = GetStore(argv[1], &store);
    if (status != CS_C_OK) return status;
    Object* object = NULL;
    status = Get(store, argv[2], argv[3], argv[4], NULL, &object);
    for (int i = 5; status == CS_C_OK && i < argc; ++i) {
        char* name = strchr(argv[i], ':');
        if (name == NULL) continue;
        *name++ = '\0';
        print_value(object, argv[i], name);
    }
    if (object != NULL) DestroyConfigStoreObject(object);
    DestroyStore(store);
    return status;
}
