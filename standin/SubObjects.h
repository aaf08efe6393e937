// Sub-objects live in their parent's values, under the engine-owned member kSubObjectsMember:
// {"$subObjects": {"<key>": {"<instance id, \"\" for the singleton>": {values...}}}}, so that the
// parent's next write stores them. The object classes' sub-object operations are in
// SubObjects.cpp; the value writes of Objects.cpp publish through here.
#pragma once

#include "ObjectState.h"

namespace standin {

// Copies a sub-object's values into its parent's document, and so on up to the top-level object.
void PublishToParent(EngineObject& subObject);

// After every change made through an object: a sub-object publishes it; a top-level or deleted
// one pays this test only.
inline void Publish(EngineObject& object) {
    if (object.parent != nullptr) PublishToParent(object);
}

}  // namespace standin
