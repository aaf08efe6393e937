// The one matcher of filter specs: what a filter selects, decided in memory, and the narrowing
// of a store query that SQL can do before it.
#pragma once

#include <kivconfigstore/Objects.h>

#include <vector>

#include "Json.h"
#include "Statements.h"

namespace standin {

using KivConfigStore::BaseObject;
using KivConfigStore::ConfigStoreObjectId;
using KivConfigStore::FilterSpecObject;

// The filter spec a caller gave; InvalidArgumentException when it gave none.
const FilterSpecObject& GivenFilter(const FilterSpecObject* filter);

// Whether `filter` selects the object `id` whose values are `values` over `defaults` (null when
// none): each of the filter's key, group, component and instance id matches where it is not
// empty; every value the filter holds equals the object's (JSON equality); and each of its
// sub-object filters selects at least one of the object's sub-objects of its key.
bool Selects(const FilterSpecObject& filter, const ConfigStoreObjectId& id, const JsonValue& values,
             const JsonValue* defaults);
// The same for an engine object, with its own values and defaults.
bool Selects(const FilterSpecObject& filter, const BaseObject& object);

// Whether the filter holds values or sub-object filters, which only the objects' values decide.
bool TestsValues(const FilterSpecObject& filter);

// The values SQL can compare before the matcher, to narrow a store query: none when the filter
// names one object's instances already (key, group and component given), since there testing
// values in SQL costs more than the matcher (SQLite would parse every document once more). The
// rows kept still go through Selects.
std::vector<ValueTest> SqlValueTestsOf(const FilterSpecObject& filter);

}  // namespace standin
