// The child handles a parent handle keeps for its sub-objects or sub-object filters, keyed by
// sub-object key. On the object side a key that is present is loaded, even with an empty list;
// on the filter side a key is present only with handles, the first being the key's filter.
// Every operation leaves the cache as it was when it fails.
#pragma once

#include "core/Handles.h"

// Appends child handles for `subObjects` under `key` (inserting the key only when there is at
// least one).
void AddSubObjectHandles(ConfigStoreObjectStruct* parent,
                         const KivConfigStore::ObjectList& subObjects, const char* key);

// Appends one child handle for `subObject` under `key` and returns it.
ConfigStoreObjectStruct* AddSubObjectHandle(
    ConfigStoreObjectStruct* parent, std::shared_ptr<KivConfigStore::ConfigStoreObject> subObject,
    const char* key);

// Loads every instance of a sub-object key into the cache, once: CS_C_OK, or CS_C_STORE_ERROR
// when the engine fails.
int getAllSubObjects(ConfigStoreObjectStruct* parent, const char* key);

// The first position under `key` whose sub-object has this instance id (NULL matches ""), or -1.
int FindSubObjectIndex(const ConfigStoreObjectStruct* parent, const char* key,
                       const char* instanceId);

// Caches a sub-object filter under `key`: CS_C_OK with the new child handle, or CS_C_NOT_FOUND
// with NULL when the engine gave none.
int AddSubObjectFilterHandle(std::shared_ptr<KivConfigStore::FilterSpecObject> subFilter,
                             FilterSpecObjectStruct* parent, const char* key,
                             FilterSpecObjectStruct** handle);

// Destroys the child handle at `position` under `key`; the key stays.
void RemoveSubObjectHandle(ConfigStoreObjectStruct* parent, const char* key, int position);

// Destroys every filter handle under `key` and removes the key.
void RemoveSubObjectFilterHandles(FilterSpecObjectStruct* parent, const char* key);
