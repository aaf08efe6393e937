// Undoing commits from the command line: a rollback to a version, and changes that roll back by
// themselves unless confirmed in time. A change waiting for confirmation is recorded in its own
// commit, as configstore/confirm/pending/<id>, with its deadline; `csctl confirm` removes the
// record, and a waiter (a detached process), or the next boot run once the deadline passed while
// the host was down, undoes the commit that made the record unless it is gone.
#pragma once

#include <rapidjson/document.h>

#include <string>

#include "Commands.h"

namespace csctl {

// One new commit that makes every identity and class what it was after `version`, csctl's own
// records aside; refused where the history before `version` is no longer kept.
void RunRollback(Session& session, long long version);

// Keeps the change waiting as `id` (empty: every change waiting); not found when none waits.
void RunConfirm(Session& session, const std::string& id);

// The detached process that undoes unconfirmed changes at their deadlines. csctl forks it before
// it opens a store (a store's connection must not cross a fork, and an emulated csctl cannot
// exec itself), and then tells it what to watch; told nothing, it ends with csctl.
class Waiter {
public:
    // Forks the waiter for the store of `nameSpace` (empty: the default); in the child, runs it
    // and never returns.
    explicit Waiter(const std::string& nameSpace);
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;
    ~Waiter();
    // Watches the change waiting as `id` (empty: every change waiting) until it is confirmed or
    // undone at its deadline.
    void Watch(const std::string& id);

private:
    int pipe_ = -1;  // to the waiter
};

// Undoes every waiting change whose deadline passed, newest first (for the boot run: its waiter
// ended with the host; for apply --pending: its waiter was killed), and has `waiter`, where
// given, watch the others.
void ExpirePassed(Session& session, Waiter* waiter);

// Adds each change waiting for confirmation to the status `results`.
void AddUnconfirmed(Session& session, rapidjson::Document& results);

// Within the transaction `session` is about to commit: records that what it commits rolls back
// unless confirmed within `seconds`. The id of the record.
std::string RecordConfirmation(Session& session, double seconds);

}  // namespace csctl
