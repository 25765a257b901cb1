/* Rolls an unconfirmed change back: every section that can be restored is, and the rules also where no file can be
 * written. */
#pragma once

#include <string>
#include <vector>

#include "management/change/change.hpp"
#include "management/change/pending_confirmation.hpp"
#include "management/options.hpp"
#include "management/system/lock.hpp"

namespace management {

/* Restores the old settings, their files and their rules, and removes what is pending. Returns what could not be
 * restored, nothing after a whole rollback, which the history gets with `why`; otherwise the confirmation stays pending, and the same call tries again. */
[[nodiscard]] std::vector<std::string> roll_back(const Options& options, Lock lock,
                                                 const Pending& pending, const std::string& why);

/* Start-up, before any rule is made: stores the old settings of a change that was not confirmed when the machine went
 * down. Notifies of what it did; nothing of it keeps a gateway from its start. Returns whether settings were set. */
bool restore_after_restart(Change& change);

}  // namespace management
