#include "management/change/revert_unconfirmed.hpp"

#include <algorithm>
#include <utility>

#include "executor/snapshots.hpp"
#include "l3_advance/l3_advance.h"
#include "management/change/apply.hpp"
#include "management/change/change.hpp"
#include "management/change/confirmation_timer.hpp"
#include "management/error.hpp"
#include "management/remedy.hpp"
#include "management/rules/own_jumps.hpp"
#include "management/store/history.hpp"
#include "management/store/setters.hpp"
#include "management/store/staged_store.hpp"
#include "management/store/unsafe_text.hpp"
#include "management/system/journal.hpp"

namespace management {

namespace {

using Problems = std::vector<std::string>;

constexpr Preconditions anything_stored = {
    .allow_damaged = true, .allow_unsafe_text = true, .allow_pending = true};

/* Setting the switch makes rules of every section that is stored, so text that a shell would interpret has to be
 * replaced first. */
void replace_unsafe_text(Change& change, const Pending& pending) {
  const std::string unsafe = find_unsafe_text(change.stored());
  if (unsafe.empty()) {
    return;
  }
  if (!pending.old_settings.captive_portal) {
    throw Error(unsafe);
  }
  change.call("captive_portal",
              [&] { return gl3_web_set_caporl_cfg(&*pending.old_settings.captive_portal); });
  change.load();
}

/* Makes the rules of every section anew, and tells the platform: what is stored as it was may not be in force, after an
 * apply or an earlier attempt that ended between the two. */
void regenerate(Change& change, const settings::Settings& old_settings) {
  const bool is_on = *load_stored().firewall;
  change.call("firewall", [&] { return gl3_web_set_fw_status(is_on ? 1 : 0); });
  if (old_settings.ipsec_pass_through) {
    const uint32_t pass = *old_settings.ipsec_pass_through ? 1 : 0;
    // The call makes no rules while it finds the same value in memory.
    fw_rules_table.ipsec_pass_ctrl = 1 - pass;
    change.call("ipsec_pass_through", [&] { return gl3_web_set_ipsec_pass_ctrl(pass); });
  }
  if (old_settings.vpn_pass_through) {
    change.call("vpn_pass_through",
                [&] { return set_vpn_pass_through(*old_settings.vpn_pass_through); });
  }
  if (old_settings.route_qos_enabled) {
    change.call("route_qos", gl3_init_qos);
  }
}

/* The switch empties the DHCP filter's chain, setting its section fills it; before the change it was one or the
 * other. */
void restore_dhcp_rules(Change& change, const Pending& pending, bool is_filled) {
  const settings::Settings stored = load_stored();
  const bool may_have_rules = *stored.firewall && stored.dhcp_filter->dhcp_mac_filter_ctrl != 0;
  const bool wanted = may_have_rules && pending.jumps.has_dhcp_rules;
  if (wanted == is_filled || !may_have_rules) {
    return;
  }
  change.call("dhcp_filter", [&] {
    return wanted ? config_fw_dhcp() : flush_fw_mac("iptables -F input_ext_dhcp");
  });
  change.call("dhcp_filter", save_fw);
}

/* The jump from one own chain to another is lost where the switch empties the chain. */
void restore_jumps(Change& change, const Pending& pending, Problems& problems) {
  if (change.make() && pending.boot == this_boot() &&
      restore_missing_jumps(pending.jumps, problems)) {
    change.call("IPv4", save_fw);
    change.call("IPv6", save_fw6);
  }
}

bool contains(const std::vector<std::string>& names, const char* name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

void restore_settings(Change& change, const Pending& pending, bool was_rebuilt,
                      Problems& problems) {
  replace_unsafe_text(change, pending);
  const Applied applied =
      apply_in_order(change, pending.old_settings, [](const char*, size_t, size_t) {});
  const bool needs_rules = was_rebuilt || !applied.unchanged.empty();
  if (needs_rules) {
    regenerate(change, pending.old_settings);
  }
  const bool has_flushed = needs_rules || contains(applied.set, "firewall");
  if (has_flushed || contains(applied.set, "dhcp_filter")) {
    restore_dhcp_rules(change, pending, !needs_rules && contains(applied.set, "dhcp_filter"));
  }
  restore_jumps(change, pending, problems);
}

/* The chains are made by start-up, which also restores what another start of the machine left pending. */
void refuse_before_start_up(const Pending& pending) {
  if (pending.boot != this_boot() && !has_own_chains()) {
    throw Error("the machine went down before a change was confirmed" +
                and_remedy(Remedy::Kind::start_up_rolls_back));
  }
}

void add_failures(const ChangeResult& result, Problems& problems) {
  for (const FailedRule& failed : result.failed_rules) {
    problems.push_back("\"" + failed.line + "\" " + failed.outcome +
                       (failed.message.empty() ? "" : ": " + failed.message));
  }
  for (const std::string& section : result.failed) {
    problems.push_back(section + ": the library reports a failure");
  }
}

/* The rules that the change made and nothing stores. A change that ended at work has noted no state after it: then all
 * that differs now is its doing. */
void undo_tables(const Pending& pending, Problems& problems) {
  for (const KeptTable& kept : pending.tables) {
    std::string problem;
    const std::string after = kept.after.empty()
                                  ? executor::Snapshots::read(kept.table, problem).value_or("")
                                  : kept.after;
    if (problem.empty()) {
      problem = executor::Snapshots::undo_difference(kept.table, kept.before, after);
    }
    if (!problem.empty()) {
      problems.push_back(problem);
    }
  }
}

/* Where the rules cannot be read, the files are restored all the same. */
bool rebuild(const Pending& pending, Problems& problems) {
  try {
    return pending.boot == this_boot() && rebuild_missing_chains(pending.jumps, problems);
  } catch (const Error& error) {
    problems.emplace_back(error.what());
    return false;
  }
}

Problems restore(const Options& options, Lock lock, const Pending& pending,
                 const std::string& why) {
  refuse_before_start_up(pending);
  Problems problems;
  const bool was_rebuilt = rebuild(pending, problems);
  StagedStore stage;
  Change change(options, std::move(lock), anything_stored, OnFailure::continue_);
  change.leave_out_of_history();
  restore_settings(change, pending, was_rebuilt, problems);
  add_failures(change.finish(), problems);
  for (std::string& problem : stage.commit()) {
    problems.push_back(std::move(problem));
  }
  if (pending.boot == this_boot()) {
    undo_tables(pending, problems);
  }
  if (problems.empty()) {
    remove_pending();
    add_rollback_to_history(pending.id, why);
  }
  return problems;
}

std::string reason_of(const Pending& pending) {
  if (pending.boot != this_boot()) {
    return "the machine restarted before it was confirmed";
  }
  return is_overdue(pending)
             ? "it was not confirmed within " + std::to_string(pending.seconds) + " s"
             : "confirm --revert asked for it";
}

}  // namespace

std::vector<std::string> roll_back(const Options& options, Lock lock, const Pending& pending,
                                   const std::string& why) {
  Problems problems;
  try {
    problems = restore(options, std::move(lock), pending, why);
  } catch (const Error& error) {
    problems.emplace_back(error.what());
  }
  if (problems.empty()) {
    clear_rollback_failure();
    const std::string reason = reason_of(pending);
    tell_journal(Event::change_rolled_back, "a change was rolled back: " + reason,
                 {{"L3_REASON", reason}});
  } else {
    note_rollback_failure(problems.front());
  }
  return problems;
}

bool restore_after_restart(Change& change) {
  try {
    const auto pending = read_pending();
    if (!pending || pending->boot == this_boot()) {
      return false;
    }
    change.without_rules(
        [&] { apply_in_order(change, pending->old_settings, [](const char*, size_t, size_t) {}); });
    if (changes_something(pending->old_settings, load_stored())) {
      throw Error("not all of them could be stored");
    }
    remove_pending();
    add_rollback_to_history(pending->id, "the machine restarted before the change was confirmed");
    change.begin_anew();
    notify("the machine went down before a change was confirmed: the old settings are back");
  } catch (const Error& error) {
    notify(std::string("a change was not confirmed, and the old settings are not back: ") +
               error.what(),
           Severity::error);
  }
  return true;
}

}  // namespace management
