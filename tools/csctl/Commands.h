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

class Waiter;

struct Identity {
    std::string key, group, component, instance;
    std::vector<SubName> sub;  // the path from the object to one of its sub-objects
};

// In the order of the exchange names ClassName gives.
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
    // What this invocation commits rolls back by itself unless confirmed within `seconds`, which
    // `waiter` then watches.
    void ConfirmWithin(double seconds, Waiter& waiter) {
        confirmSeconds_ = seconds;
        waiter_ = &waiter;
    }

    // Runs `work` in a transaction of the store, which it then commits (waiting for
    // confirmation where asked), or cancels when `keep` is false or the work fails.
    template <typename Work>
    void Transaction(bool keep, Work&& work) {
        Begin();
        try {
            work();
            keep ? Commit() : Cancel();
        } catch (...) {
            Logged([&] { return CancelTransaction(store()); });
            throw;
        }
    }

private:
    void Begin();
    void Commit();
    void Cancel();

    std::string nameSpace_;
    Output& output_;
    Store store_;
    double confirmSeconds_ = 0;
    Waiter* waiter_ = nullptr;
};

// An object's name in messages, as the commands take it.
std::string Name(const Identity& identity);
// An identity as csctl's JSON shows it: {"key", "group", "component", "instanceId"?, "sub"?}.
rapidjson::Value IdentityJson(const Identity& identity,
                              rapidjson::Document::AllocatorType& allocator);
// A filter spec of a pattern's fields (empty fields select all).
Filter MakeFilter(const Identity& pattern);
// The exchange document of what the filters select, parsed.
rapidjson::Document ExportedBy(std::vector<FilterSpecObjectStruct*> filters);
// The identity of an exchange document's entry.
Identity IdentityOf(const rapidjson::Value& entry);
// An instance id that the identity's schema wants or forbids: CS_C_INVALID_ARGUMENT, saying
// what to change.
void CheckIdentity(const Identity& identity);
// The class of an exchange document's entry ("configuration" when it names none).
const char* ClassOf(const rapidjson::Value& entry);
// The name of a class in the exchange document ("configuration", "userData", ...).
const char* ClassName(DataClass dataClass);

// A sub-object path, "KEY[:ID][/KEY[:ID]...]", read (kUsage when a key is empty) and written.
std::vector<SubName> ParseSubPath(const std::string& path);
std::string SubPath(const std::vector<SubName>& names);

// The text of the exchange document of what the filters select.
Text ExportText(std::vector<FilterSpecObjectStruct*> filters);
// The values one class of the store holds for an identity; an empty object when none.
rapidjson::Document StoredClass(const Identity& identity, DataClass dataClass);

// The exchange document of what a filter spec of `pattern` selects (empty fields select all).
rapidjson::Document Exported(const Identity& pattern);

void RunWrites(Session& session, const std::vector<Write>& writes);
void RunGet(Session& session, const Identity& identity, const std::vector<std::string>& keys,
            bool bare = false);
void RunList(Session& session, const Identity& pattern, const std::vector<Assignment>& conditions);
void RunInstanceId(Session& session);

}  // namespace csctl
