// Scalar reads, writes, appends and removals: each entry point hands its handle, its value and
// its own name to the worker of its value type. Nothing here allocates.
#include "configstorec.h"
#include "values/ValueWorkers.h"

ConfigStoreCStatus GetValueInt(ConfigStoreObjectStruct* object, const char* key, int* value) {
    return GetValueInternal(object, key, value, "GetValueInt");
}

ConfigStoreCStatus GetValueFsoInt(FilterSpecObjectStruct* filter, const char* key, int* value) {
    return GetValueInternal(filter, key, value, "GetValueFsoInt");
}

ConfigStoreCStatus GetValueUint16(ConfigStoreObjectStruct* object, const char* key,
                                  unsigned short* value) {
    return GetValueInternal(object, key, value, "GetValueUint16");
}

ConfigStoreCStatus GetValueFsoUint16(FilterSpecObjectStruct* filter, const char* key,
                                     unsigned short* value) {
    return GetValueInternal(filter, key, value, "GetValueFsoUint16");
}

ConfigStoreCStatus GetValueUint32(ConfigStoreObjectStruct* object, const char* key,
                                  unsigned int* value) {
    return GetValueInternal(object, key, value, "GetValueUint32");
}

ConfigStoreCStatus GetValueFsoUint32(FilterSpecObjectStruct* filter, const char* key,
                                     unsigned int* value) {
    return GetValueInternal(filter, key, value, "GetValueFsoUint32");
}

ConfigStoreCStatus GetValueLong(ConfigStoreObjectStruct* object, const char* key, long* value) {
    return GetValueInternal(object, key, value, "GetValueLong");
}

ConfigStoreCStatus GetValueFsoLong(FilterSpecObjectStruct* filter, const char* key, long* value) {
    return GetValueInternal(filter, key, value, "GetValueFsoLong");
}

ConfigStoreCStatus GetValueLonglong(ConfigStoreObjectStruct* object, const char* key,
                                    long long* value) {
    return GetValueInternal(object, key, value, "GetValueLonglong");
}

ConfigStoreCStatus GetValueFsoLonglong(FilterSpecObjectStruct* filter, const char* key,
                                       long long* value) {
    return GetValueInternal(filter, key, value, "GetValueFsoLonglong");
}

ConfigStoreCStatus GetValueBool(ConfigStoreObjectStruct* object, const char* key, bool* value) {
    return GetValueInternal(object, key, value, "GetValueBool");
}

ConfigStoreCStatus GetValueFsoBool(FilterSpecObjectStruct* filter, const char* key, bool* value) {
    return GetValueInternal(filter, key, value, "GetValueFsoBool");
}

ConfigStoreCStatus GetValueDouble(ConfigStoreObjectStruct* object, const char* key, double* value) {
    return GetValueInternal(object, key, value, "GetValueDouble");
}

ConfigStoreCStatus GetValueFsoDouble(FilterSpecObjectStruct* filter, const char* key,
                                     double* value) {
    return GetValueInternal(filter, key, value, "GetValueFsoDouble");
}

ConfigStoreCStatus SetValueInt(ConfigStoreObjectStruct* object, const char* key, int value) {
    return SetValueInternal(object, key, value, "SetValueInt");
}

ConfigStoreCStatus SetValueFsoInt(FilterSpecObjectStruct* filter, const char* key, int value) {
    return SetValueInternal(filter, key, value, "SetValueFsoInt");
}

ConfigStoreCStatus SetValueUint16(ConfigStoreObjectStruct* object, const char* key,
                                  unsigned short value) {
    return SetValueInternal(object, key, value, "SetValueUint16");
}

ConfigStoreCStatus SetValueFsoUint16(FilterSpecObjectStruct* filter, const char* key,
                                     unsigned short value) {
    return SetValueInternal(filter, key, value, "SetValueFsoUint16");
}

ConfigStoreCStatus SetValueUint32(ConfigStoreObjectStruct* object, const char* key,
                                  unsigned int value) {
    return SetValueInternal(object, key, value, "SetValueUint32");
}

ConfigStoreCStatus SetValueFsoUint32(FilterSpecObjectStruct* filter, const char* key,
                                     unsigned int value) {
    return SetValueInternal(filter, key, value, "SetValueFsoUint32");
}

ConfigStoreCStatus SetValueLong(ConfigStoreObjectStruct* object, const char* key, long value) {
    return SetValueInternal(object, key, value, "SetValueLong");
}

ConfigStoreCStatus SetValueFsoLong(FilterSpecObjectStruct* filter, const char* key, long value) {
    return SetValueInternal(filter, key, value, "SetValueFsoLong");
}

ConfigStoreCStatus SetValueLonglong(ConfigStoreObjectStruct* object, const char* key,
                                    long long value) {
    return SetValueInternal(object, key, value, "SetValueLonglong");
}

ConfigStoreCStatus SetValueFsoLonglong(FilterSpecObjectStruct* filter, const char* key,
                                       long long value) {
    return SetValueInternal(filter, key, value, "SetValueFsoLonglong");
}

ConfigStoreCStatus SetValueBool(ConfigStoreObjectStruct* object, const char* key, bool value) {
    return SetValueInternal(object, key, value, "SetValueBool");
}

ConfigStoreCStatus SetValueFsoBool(FilterSpecObjectStruct* filter, const char* key, bool value) {
    return SetValueInternal(filter, key, value, "SetValueFsoBool");
}

ConfigStoreCStatus SetValueDouble(ConfigStoreObjectStruct* object, const char* key, double value) {
    return SetValueInternal(object, key, value, "SetValueDouble");
}

ConfigStoreCStatus SetValueFsoDouble(FilterSpecObjectStruct* filter, const char* key,
                                     double value) {
    return SetValueInternal(filter, key, value, "SetValueFsoDouble");
}

ConfigStoreCStatus SetValueFloat(ConfigStoreObjectStruct* object, const char* key, float value) {
    return SetValueInternal(object, key, value, "SetValueFloat");
}

ConfigStoreCStatus SetValueFsoFloat(FilterSpecObjectStruct* filter, const char* key, float value) {
    return SetValueInternal(filter, key, value, "SetValueFsoFloat");
}

ConfigStoreCStatus AppendValueInt(ConfigStoreObjectStruct* object, const char* key, int value) {
    return AppendValueInternal(object, key, value, "AppendValueInt");
}

ConfigStoreCStatus AppendValueFsoInt(FilterSpecObjectStruct* filter, const char* key, int value) {
    return AppendValueInternal(filter, key, value, "AppendValueFsoInt");
}

ConfigStoreCStatus AppendValueLonglong(ConfigStoreObjectStruct* object, const char* key,
                                       long long value) {
    return AppendValueInternal(object, key, value, "AppendValueLonglong");
}

ConfigStoreCStatus AppendValueFsoLonglong(FilterSpecObjectStruct* filter, const char* key,
                                          long long value) {
    return AppendValueInternal(filter, key, value, "AppendValueFsoLonglong");
}

ConfigStoreCStatus AppendValueDouble(ConfigStoreObjectStruct* object, const char* key,
                                     double value) {
    return AppendValueInternal(object, key, value, "AppendValueDouble");
}

ConfigStoreCStatus AppendValueFsoDouble(FilterSpecObjectStruct* filter, const char* key,
                                        double value) {
    return AppendValueInternal(filter, key, value, "AppendValueFsoDouble");
}

ConfigStoreCStatus AppendValueBool(ConfigStoreObjectStruct* object, const char* key, bool value) {
    return AppendValueInternal(object, key, value, "AppendValueBool");
}

ConfigStoreCStatus AppendValueFsoBool(FilterSpecObjectStruct* filter, const char* key, bool value) {
    return AppendValueInternal(filter, key, value, "AppendValueFsoBool");
}
