// The subcommands of csctl, each a sequence of library calls on one session's store.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Handles.h"
#include "Output.h"
#include "Values.h"

namespace csctl {

// A sub-object within its parent: its key and instance id (empty for a singleton).
struct SubName {
    std::string key, instance;
};

struct Identity {
    std::string key, group, component, instance;
    std::vector<SubName> sub;  // the path from the object to one of its sub-objects
};

enum class DataClass { Configuration, User, Vital, Cached };
enum class WriteKind { Set, Update, Delete };

// One write of a chain; every write of an invocation runs in one transaction.
struct Write {
    WriteKind kind = WriteKind::Set;
    Identity identity;
    DataClass dataClass = DataClass::Configuration;
    std::optional<std::string> context;  // "INTERNAL" or "EXTERNAL"; none passes NULL
    std::vector<Assignment> values;
    std::vector<std::string> removals;
    bool replace = false;  // a set that drops the stored object's other values and sub-objects
};

// The store of the invocation's namespace, opened on first use, and where answers go.
class Session {
public:
    Session(std::string nameSpace, Output& output)
        : nameSpace_(std::move(nameSpace)), output_(output) {}
    ConfigStoreStruct* store();
    Output& output() { return output_; }
    // The namespace the store was opened with; the engine's default when none was named.
    std::string nameSpace() const { return nameSpace_.empty() ? "global" : nameSpace_; }

private:
    std::string nameSpace_;
    Output& output_;
    Store store_;
};

// A sub-object path, "KEY[:ID][/KEY[:ID]...]", read (kUsage when a key is empty) and written.
std::vector<SubName> ParseSubPath(const std::string& path);
std::string SubPath(const std::vector<SubName>& names);

// The exchange document of what a filter spec of `pattern` selects (empty fields select all).
rapidjson::Document Exported(const Identity& pattern);

void RunWrites(Session& session, const std::vector<Write>& writes);
void RunGet(Session& session, const Identity& identity, const std::vector<std::string>& keys,
            bool bare = false);
void RunList(Session& session, const Identity& pattern, const std::vector<Assignment>& conditions);
// The exchange document of the objects of `keys` (none: every key) in the pattern's group,
// component and instance, each where given.
void RunExport(Session& session, const std::vector<std::string>& keys, const Identity& pattern);
void RunImport(Session& session, const std::string& path);
void RunInstanceId(Session& session);

}  // namespace csctl
