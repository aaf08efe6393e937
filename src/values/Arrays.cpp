// Whole lists of numbers or booleans, copied into one array the caller releases with free().
#include <vector>

#include "configstorec.h"
#include "values/ValueWorkers.h"

namespace {

template <class T>
int GetValueArrayInternal(void* handle, const char* key, T** values, int* count,
                          const char* logTag) {
    return binding::WithValueObject<binding::ArrayReads>(
        "GetValueArrayInternal", handle, key, logTag, [&](KivConfigStore::WritableObject& object) {
            std::vector<T> list;
            const int status = object.GetValue(key, &list);
            return binding::DeliverList(status, list.size(), values, count,
                                        [&] { return binding::CopyArray<T>(list).release(); });
        });
}

}  // namespace

ConfigStoreCStatus GetValueIntArray(ConfigStoreObjectStruct* object, const char* key, int** values,
                                    int* count) {
    return GetValueArrayInternal(object, key, values, count, "GetValueIntArray");
}

ConfigStoreCStatus GetValueDoubleArray(ConfigStoreObjectStruct* object, const char* key,
                                       double** values, int* count) {
    return GetValueArrayInternal(object, key, values, count, "GetValueDoubleArray");
}

ConfigStoreCStatus GetValueLonglongArray(ConfigStoreObjectStruct* object, const char* key,
                                         long long** values, int* count) {
    return GetValueArrayInternal(object, key, values, count, "GetValueLonglongArray");
}

ConfigStoreCStatus GetValueBoolArray(ConfigStoreObjectStruct* object, const char* key,
                                     bool** values, int* count) {
    return GetValueArrayInternal(object, key, values, count, "GetValueBoolArray");
}

ConfigStoreCStatus GetValueFsoIntArray(FilterSpecObjectStruct* filter, const char* key,
                                       int** values, int* count) {
    return GetValueArrayInternal(filter, key, values, count, "GetValueFsoIntArray");
}

ConfigStoreCStatus GetValueFsoDoubleArray(FilterSpecObjectStruct* filter, const char* key,
                                          double** values, int* count) {
    return GetValueArrayInternal(filter, key, values, count, "GetValueFsoDoubleArray");
}

ConfigStoreCStatus GetValueFsoLonglongArray(FilterSpecObjectStruct* filter, const char* key,
                                            long long** values, int* count) {
    return GetValueArrayInternal(filter, key, values, count, "GetValueFsoLonglongArray");
}

ConfigStoreCStatus GetValueFsoBoolArray(FilterSpecObjectStruct* filter, const char* key,
                                        bool** values, int* count) {
    return GetValueArrayInternal(filter, key, values, count, "GetValueFsoBoolArray");
}
