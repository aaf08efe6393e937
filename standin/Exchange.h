// The exchange document: a store's objects as one JSON text, written by Export and read back by
// Import.
//
//   {"format": "configstore/1",
//    "objects": [{"key": ..., "group": ..., "component": ..., "instanceId": ...,
//                 "class": "userData", "values": {...}}, ...]}
//
// "instanceId" is absent for singletons and "class" for the configuration; the other classes
// are "userData", "vitalData", "cachedData" and "desired".
#pragma once

#include <kivconfigstore/ConfigStore.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Store.h"

namespace standin {

// Stores every object of `document`, each replacing its class's document, all in one
// transaction; or, when any is refused, none: false with one error per refused object (or one
// for a document that is not an exchange document at all).
bool ImportDocument(Store& store, const std::string& document,
                    std::vector<KivConfigStore::ErrorInfo>& errors);

// Whether an export through `filter` leaves out `id`, which the filter selects.
using LeftOut = std::function<bool(const FilterSpecObject& filter, const ConfigStoreObjectId& id)>;

// Every stored class of every object that one of `filters` selects and does not leave out,
// ordered by key, group, component, instance id and class, so that exporting what an import
// stored gives the imported text again.
std::string ExportDocument(Store& store,
                           const std::vector<std::shared_ptr<FilterSpecObject>>& filters,
                           const LeftOut& leftOut);

}  // namespace standin
