/* The restore of many edits, and which of them the packet filter refused. */
#pragma once

#include <span>
#include <string>

#include "executor/failed_line.hpp"
#include "executor/process.hpp"
#include "executor/rule_edit.hpp"

namespace executor {

/* The input of a restore tool that makes these edits and nothing else. All are of one table. */
[[nodiscard]] std::string restore_input(std::span<const RuleEdit> edits);

/* Makes the edits, all or none. */
[[nodiscard]] ProcessResult restore(std::span<const RuleEdit> edits);

/* The edit that made the restore fail, with the tool's message. Where the tool names the line of COMMIT
 * only, the edits are tried on a copy of the table in a network namespace of its own. The restore itself is
 * named if all edits succeed there, or if a signal ended the tool. */
[[nodiscard]] FailedLine refused_line(std::span<const RuleEdit> edits,
                                      const ProcessResult& restored);

}  // namespace executor
