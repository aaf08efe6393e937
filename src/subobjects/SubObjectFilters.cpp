// Sub-object filters of filter specs, cached in their parent. A cached key answers with
// its first handle whatever the instance id.
#include "configstorec.h"
#include "core/Checks.h"
#include "core/Families.h"
#include "store/Identity.h"
#include "subobjects/ChildCache.h"

using binding::Guard;
using binding::SubObjectIdOf;

// Not looked up in the cache first: a repeated create adds a second handle under the key.
ConfigStoreCStatus CreateSubObjectFilter(FilterSpecObjectStruct* filter, const char* key,
                                         const char* instanceId,
                                         FilterSpecObjectStruct** subFilter) {
    constexpr const char* kCaller = "CreateSubObjectFilter";
    return Guard<binding::StoreLevel>(kCaller, [&]() -> int {
        if (int refused = CheckObjectAndKey(filter, key, kCaller)) return refused;
        return AddSubObjectFilterHandle(
            filter->engineObject->CreateSubObjectFilter(SubObjectIdOf(key, instanceId)), filter,
            key, subFilter);
    });
}

ConfigStoreCStatus GetSubObjectFilter(FilterSpecObjectStruct* filter, const char* key,
                                      const char* instanceId, FilterSpecObjectStruct** subFilter) {
    constexpr const char* kCaller = "GetSubObjectFilter";
    return Guard<binding::StoreLevel>(kCaller, [&]() -> int {
        if (int refused = CheckObjectAndKey(filter, key, kCaller)) return refused;
        if (const auto* cached = filter->children.Find(key)) {
            *subFilter = cached->front();
            return CS_C_OK;
        }
        return AddSubObjectFilterHandle(
            filter->engineObject->GetSubObjectFilter(SubObjectIdOf(key, instanceId)), filter, key,
            subFilter);
    });
}

ConfigStoreCStatus DeleteSubObjectFilter(FilterSpecObjectStruct* filter, const char* key,
                                         const char* instanceId) {
    constexpr const char* kCaller = "DeleteSubObjectFilter";
    return Guard<binding::Untranslated>(kCaller, [&]() -> int {
        if (int refused = CheckObjectAndKey(filter, key, kCaller)) return refused;
        filter->engineObject->DeleteSubObjectFilter(SubObjectIdOf(key, instanceId));
        if (filter->children.Contains(key)) RemoveSubObjectFilterHandles(filter, key);
        return CS_C_OK;
    });
}
