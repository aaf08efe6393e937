// The one place where handles are read as something other than their own type.
#pragma once

#include <kivconfigstore/Objects.h>

#include "Handles.h"

namespace binding {

// Both object handles begin with their engine reference, and both engine object classes begin
// with WritableObject, so value code reaches the engine object of either handle the same way.
inline KivConfigStore::WritableObject* EngineValueObject(void* handle) {
    return static_cast<ConfigStoreObjectStruct*>(handle)->engineObject.get();
}

}  // namespace binding
