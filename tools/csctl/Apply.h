// csctl apply and status: apply modules run by hand, and the result each component's last run
// left in the store.
#pragma once

#include <string>
#include <vector>

#include "Commands.h"
#include "Rollback.h"

namespace csctl {

// Which modules a run of apply runs: those of the components named (none: of every component
// with a module); every module as at boot; or those of the components whose modules commits
// left due (pending work).
enum class ApplyRun { Named, Boot, Pending };

// Runs the modules, stage by stage, each with one input line per stored (identity, class) of its
// component, and records each component's result, with the version whose work it did. A boot
// run, and a run of pending work, first undo the changes whose confirmation deadline passed
// (their waiter is gone). A boot run then runs every module with
// APPLY_BOOT=1 while every stored identity holds the boot status. Throws a Failure with
// kModuleFailed when a module failed.
// `waiter` (of a boot run) watches the changes whose deadline is still to come.
void RunApply(Session& session, const std::vector<std::string>& components, ApplyRun run,
              Waiter* waiter);

// Prints the last recorded result of the components (none: of every component), the work
// commits left pending, and every change waiting for confirmation.
void RunStatus(Session& session, const std::vector<std::string>& components);

}  // namespace csctl
