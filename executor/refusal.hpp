/* Which of many edits the packet filter refused. */
#pragma once

#include <span>
#include <string>

#include "executor/failed_line.hpp"
#include "executor/rule_edit.hpp"
#include "executor/spawn.hpp"

namespace executor {

/* The input of a restore tool that makes these edits and nothing else. All are of one table. */
[[nodiscard]] std::string restore_input(std::span<const RuleEdit> edits);

/* Makes the edits, all or none. */
[[nodiscard]] Ended restore(std::span<const RuleEdit> edits);

/* The edit that made the restore end so, with the tool's words. Where the tool names COMMIT alone,
 * the edits are tried on a copy of the table in a network namespace of its own; where even that does
 * not tell, and where a signal ended the tool, the restore itself is named. */
[[nodiscard]] FailedLine named(std::span<const RuleEdit> edits, const Ended& ended);

}  // namespace executor
