#include "Commits.h"

#include <sys/stat.h>

#include <algorithm>

#include "ApplyModules.h"
#include "ResultRecord.h"

namespace standin {

using KivConfigStore::ConfigStoreObjectId;

ConfigStoreObjectId Changes::Id(const Change& change) const {
    const auto fields = IdentityFields(identities_, change.identity);
    return ConfigStoreObjectId(std::string(fields[0]), std::string(fields[1]),
                               std::string(fields[2]), std::string(fields[3]));
}

void Changes::Append(Changes&& other) {
    version = std::max(version, other.version);
    if (changes_.empty()) {
        identities_ = std::move(other.identities_);
        changes_ = std::move(other.changes_);
    } else {
        const std::size_t shift = identities_.size();
        identities_ += other.identities_;
        for (Change change : other.changes_) {
            change.identity += shift;
            changes_.push_back(change);
        }
    }
    other.identities_.clear();
    other.changes_.clear();
}

bool IsResultRecord(const ConfigStoreObjectId& id) {
    return id.key == kResultKey && id.group == kResultGroup && id.component == kResultComponent;
}

std::set<std::string> ComponentsToApply(std::initializer_list<const Changes*> changes) {
    std::set<std::string> due;
    const std::string directory = ApplyDirectory();
    struct stat status {};
    if (lstat(directory.c_str(), &status) != 0) return due;
    const std::vector<std::string> withModule = ModuleComponents(directory);
    for (const Changes* list : changes) {
        for (const Changes::Change& change : list->List()) {
            const ConfigStoreObjectId id = list->Id(change);
            if (!IsResultRecord(id) &&
                std::binary_search(withModule.begin(), withModule.end(), id.component)) {
                due.insert(id.component);
            }
        }
    }
    return due;
}

}  // namespace standin
