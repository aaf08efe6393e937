// Apply modules: after a commit, the executables `<apply dir>/<stage>/<component>` of each
// changed component run, stage by stage, with one JSON line per changed identity and class on
// their standard input. A module's failure is logged and recorded; the commit stands.
#pragma once

#include <kivconfigstore/ObjectIds.h>

#include <string>
#include <vector>

namespace standin {

class Store;

// The class name of a change that removed the identity.
constexpr char kDeletedClass[] = "deleted";

// What committed writes changed: (identity, class name) pairs, "deleted" for a removal. The
// engine's own result records are left out, so that recording a result runs nothing.
class Changes {
public:
    void Add(const KivConfigStore::ConfigStoreObjectId& id, const char* className);
    void Append(Changes&& other);
    bool Empty() const { return changes_.empty(); }

private:
    friend void RunApplyModules(Store&, const std::string&, const std::string&, const Changes&);
    struct Change {
        KivConfigStore::ConfigStoreObjectId id;
        const char* className;
    };
    std::vector<Change> changes_;
};

// Runs every changed component's modules, once per stage in stage order, each with that
// component's lines (each pair once), and records each component's result as cached data of
// apply/results/configstore/<component>. Failures are logged against `database`, never thrown.
void RunApplyModules(Store& store, const std::string& nameSpace, const std::string& database,
                     const Changes& changes);

}  // namespace standin
