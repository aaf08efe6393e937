// The engine's door to the state behind an object's private pointer.
#pragma once

#include <kivconfigstore/Objects.h>

#include "Values.h"

namespace KivConfigStore {

struct EngineState {
    static standin::ObjectValues& Of(const BaseObject& object);
};

}  // namespace KivConfigStore
