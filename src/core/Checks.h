// The shared argument checks. Each returns CS_C_OK or CS_C_INVALID_ARGUMENT, logs at most one
// line (for the first missing argument, tagged with the caller's name) and never throws. Only
// NULL is refused: empty strings pass.
#pragma once

#include <kivconfigstore/ConfigStore.h>

#include "Handles.h"

// An object or filter handle and a value key.
int CheckObjectAndKey(const void* handle, const char* key, const char* caller);

// A store and an object identity; the component is tested before the group.
int CheckStoreAndObjectId(const ConfigStoreStruct* store, const char* key, const char* group,
                          const char* component, const char* caller);

// An object identity without a store.
int CheckObjectId(const char* key, const char* group, const char* component, const char* caller);

// NULL or "EXTERNAL" gives EXTERNAL, "INTERNAL" gives INTERNAL (exact, case-sensitive); any other
// text is refused and leaves *context untouched.
int ParseUserDataContext(const char* text, KivConfigStore::USERDATA_CONTEXT* context,
                         const char* caller);
