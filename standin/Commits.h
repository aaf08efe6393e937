// What committed writes changed, and how the store tells the layer above it.
#pragma once

#include <kivconfigstore/ConfigStore.h>

#include <functional>
#include <initializer_list>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Files.h"
#include "Identities.h"

namespace standin {

// The class name of a change that removed the identity.
constexpr char kDeletedClass[] = "deleted";

// (identity, class name) pairs, kDeletedClass for a removal, in the order they were committed.
class Changes {
public:
    struct Change {
        std::size_t identity;  // where the identity starts in the list's text
        const char* className;
    };
    void Add(const KivConfigStore::ConfigStoreObjectId& id, const char* className) {
        changes_.push_back({identities_.size(), className});
        AppendIdentity(identities_, id);
    }
    void Append(Changes&& other);
    bool Empty() const { return changes_.empty(); }
    const std::vector<Change>& List() const { return changes_; }
    KivConfigStore::ConfigStoreObjectId Id(const Change& change) const;

    long long version = 0;  // the version the commit gave its durable changes, 0 for none

private:
    // Every change's identity (Identities.h): an import of many objects keeps its changes until
    // its commit.
    std::string identities_;
    std::vector<Change> changes_;
};

// The record of an apply module run (ResultRecord.h), which is no configuration.
bool IsResultRecord(const KivConfigStore::ConfigStoreObjectId& id);

// The components of `changes` whose apply modules a commit of them must run: recorded in the
// commit as due, so that a writer that dies before its modules ran leaves the work pending.
std::set<std::string> ComponentsToApply(std::initializer_list<const Changes*> changes);

// Stores an object's values as its cached data, in a write of its own that nobody is told of.
using RecordWriter = std::function<void(std::shared_ptr<KivConfigStore::ConfigStoreObject>)>;
// Told what each commit changed, outside the store's lock: what it runs may take long, and may
// record results with `record`. Never throws.
using CommitObserver = std::function<void(const StoreFiles& files, const Changes& changes,
                                          const RecordWriter& record)>;

}  // namespace standin
