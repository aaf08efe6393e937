// Undoing commits from the command line: a rollback to a version, and changes that roll back by
// themselves unless confirmed in time. A change waiting for confirmation is recorded in its own
// commit, as configstore/confirm/pending/<id>, with its deadline; `csctl confirm` removes the
// record, and a waiter (`csctl expire <id>`, detached), or the next boot run once the deadline
// passed while the host was down, undoes the commit that made the record unless it is gone.
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

// The waiter: at the deadline of the change waiting as `id`, undoes it unless it was confirmed.
void RunExpire(Session& session, const std::string& id);

// For the boot run: undoes every waiting change whose deadline passed, newest first, and starts
// a waiter for each of the others (the waiters ended with the host).
void ExpirePassed(Session& session);

// Adds each change waiting for confirmation to the status `results`.
void AddUnconfirmed(const Session& session, rapidjson::Document& results);

// Within the transaction `session` is about to commit: records that what it commits rolls back
// unless confirmed within `seconds`. The id of the record.
std::string RecordConfirmation(Session& session, double seconds);

// After the commit of RecordConfirmation: starts the detached waiter for `id` (in the namespace
// CONFIGSTORE_NAMESPACE names, as csctl set it).
void StartWaiter(const std::string& id);

}  // namespace csctl
