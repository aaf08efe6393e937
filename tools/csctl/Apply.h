// csctl apply and status: apply modules run by hand, and the result each component's last run
// left in the store.
#pragma once

#include <string>
#include <vector>

#include "Commands.h"

namespace csctl {

// Runs the modules of the components (none: every component with a module), stage by stage,
// each with one input line per stored (identity, class) of its component, and records each
// component's result. A boot run (boot set) runs every module with APPLY_BOOT=1 while every
// stored identity holds the boot status. Throws a Failure with kModuleFailed when a module failed.
void RunApply(Session& session, const std::vector<std::string>& components, bool boot);

// Prints the last recorded result of the components (none: of every component).
void RunStatus(Session& session, const std::vector<std::string>& components);

}  // namespace csctl
