// The engine's state behind an object's private pointer, and the engine's door to it.
#pragma once

#include <kivconfigstore/Objects.h>

#include <memory>
#include <vector>

#include "Values.h"

namespace standin {

struct EngineObject : ObjectValues {
    // A filter spec's sub-object filters, in the order they were made.
    std::vector<std::shared_ptr<KivConfigStore::FilterSpecObject>> subFilters;
};

}  // namespace standin

namespace KivConfigStore {

struct EngineState {
    static standin::EngineObject& Of(const BaseObject& object);
};

}  // namespace KivConfigStore
