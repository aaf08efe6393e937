// Apply modules: after a commit, the executables `<apply dir>/<stage>/<component>` of each
// changed component run, stage by stage, with one JSON line per changed identity and class on
// their standard input. A module's failure is logged and recorded; the commit stands.
#pragma once

#include <kivconfigstore/Objects.h>

#include "Commits.h"

namespace standin {

// The store's commit observer: runs every changed component's modules, once per stage in stage
// order, each with that component's lines (each pair once), and records each component's
// result with `record` as cached data of apply/results/configstore/<component>. Changes of
// those result records run nothing. Failures are logged against the store's database, never
// thrown.
void RunApplyModules(const StoreFiles& files, const Changes& changes, const RecordWriter& record);

// The store's own records (component "configstore": apply results, changes waiting for
// confirmation) are no configuration: an export through `filter` leaves out such a record `id`
// unless the filter names that component.
bool LeftOutOfExport(const KivConfigStore::FilterSpecObject& filter,
                     const KivConfigStore::ConfigStoreObjectId& id);

}  // namespace standin
