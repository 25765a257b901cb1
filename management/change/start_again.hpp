/*
 * Start-up once more, on a gateway that runs. The library's start-up appends every jump to INPUT and
 * FORWARD and every rule to its chain, so what stands there from before is removed first; all of it in
 * one transaction, in which no packet meets a gateway without rules.
 */
#pragma once

#include "management/change/change.hpp"

namespace management {

/* Whether a jump of start-up stands in INPUT or FORWARD. A tool that does not answer counts as no: at
 * boot no rule would be worse than one that stands twice. */
bool is_started();

/*
 * The rules are those of a fresh start, bound to the same Internet WAN. Rules of others in INPUT and
 * FORWARD stay; ours stand together where the first of them stood. The chain of management access stays
 * as it is, since its rules are stored nowhere.
 */
void start_again(Change& change);

}  // namespace management
