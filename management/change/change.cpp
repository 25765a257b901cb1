#include "management/change/change.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <nlohmann/json.hpp>
#include <utility>

#include "executor/system.hpp"
#include "l3_advance/l3_advance.h"
#include "l3_advance/platform.h"
#include "management/change/begun_shift.hpp"
#include "management/change/confirmation.hpp"
#include "management/change/confirmation_timer.hpp"
#include "management/change/pending_confirmation.hpp"
#include "management/error.hpp"
#include "management/remedy.hpp"
#include "management/rules/expected_rules.hpp"
#include "management/store/history.hpp"
#include "management/store/settings_record.hpp"
#include "management/store/stored_check.hpp"
#include "management/store/time_zone_file.hpp"
#include "management/store/unsafe_text.hpp"
#include "management/system/escape.hpp"
#include "management/system/find_tool.hpp"

namespace management {

namespace {

constexpr PlatformCalls platform_calls = {.get_vpn = grm_l3_advance_get_vpn_pass_through,
                                          .set_vpn = grm_l3_advance_set_vpn_pass_through,
                                          .control_vpn = gpon_l3_control_vpn_pass_through,
                                          .set_qos = gpon_l3_set_qos_cfg};

std::string outcome(int status) {
  if (status == -1) {
    return "was not started";
  }
  return WIFSIGNALED(status) ? "was ended by signal " + std::to_string(WTERMSIG(status))
                             : "ended with " + std::to_string(WEXITSTATUS(status));
}

/* What is not meant would be made into rules, and stored once more as if it were whole. */
void refuse_damage() {
  std::string damage;
  try {
    damage = stored_damage();
    read_zone_file();
  } catch (const Error& error) {
    throw Error(std::string(error.what()) + "; nothing was changed");
  }
  if (!damage.empty()) {
    throw Error(damage + and_remedy(Remedy::Kind::mend_damage) + "; nothing was changed");
  }
}

/* What was not confirmed in time is rolled back before anything else changes. A dry run looks between changes of
 * others. */
Lock lock_for_change(const Options& options, const Preconditions& accepted) {
  if (options.dry_run) {
    return Lock::shared(options);
  }
  if (!accepted.allow_pending) {
    roll_back_if_overdue(options);
    complete_begun_shift(options);
  }
  return Lock(options);
}

void notify_remains(const std::vector<std::string>& problems) {
  for (const std::string& problem : problems) {
    notify("cannot put back what was before: " + problem, Severity::error);
  }
}

/* Throws nothing: another error is on its way. What is pending still is for the timer. */
void end_or_leave_to_timer(bool is_restored) {
  try {
    is_restored ? end_confirmation() : leave_to_timer();
  } catch (const Error& error) {
    notify(error.what(), Severity::error);
  }
}

std::string first_line(const std::string& text) {
  return text.substr(0, text.find('\n'));
}

}  // namespace

Change::Change(const Options& options, Lock lock, const Preconditions& accepted,
               OnFailure on_failure)
    : options_(options), on_failure_(on_failure), lock_(std::move(lock)) {
  if (!quietly([] { return executor::system_executor().is_interposed(str_system); })) {
    throw Error("command lines of the library do not reach this program; nothing was changed");
  }
  require_tools();
  require_regular_store();
  if (!accepted.allow_pending) {
    refuse_while_pending();
  }
  if (options.dry_run) {
    plan_.emplace();
  }
  if (!accepted.allow_damaged && !options.force) {
    refuse_damage();
  } else {
    warn_of_stored_damage();
  }
  remove_stale_temporaries();
  make_room_for_change();
  signals_.block();
  // Stored files hold private data, and saved rules are executed: root-only, also what tools write.
  umask(077);
  if (on_failure == OnFailure::rollback) {
    snapshot_.emplace(platform_calls);
  }
  stored_ = load_stored();
  before_ = stored_;
  if (!accepted.allow_unsafe_text) {
    reject_unsafe_text(stored_);
  }
  if (snapshot_) {
    snapshot_->add_loaded();
    executor::system_executor().keep_snapshots();
  } else {
    executor::system_executor().set_on_refusal(executor::OnRefusal::continue_);
  }
  id_ = new_change_id();
  if (options.confirm_within > 0 && !options.dry_run) {
    begin_confirmation(options, id_, stored_);
    is_waited_for_ = true;
  }
  make_rules();
  if (plan_) {
    plan_->start();
  }
}

Change::Change(const Options& options, const Preconditions& accepted)
    : Change(options, lock_for_change(options, accepted), accepted, OnFailure::rollback) {}

Change::~Change() {
  // What an exception ends has not been reported.
  if (std::uncaught_exceptions() > exceptions_ && on_failure_ == OnFailure::rollback) {
    const bool is_restored = rollback();
    if (is_waited_for_) {
      end_or_leave_to_timer(is_restored);
    }
  }
  executor::system_executor().set_mode(executor::Mode::execute);
  // A signal that waited ends the program next; what was reported must be out by then.
  std::cout.flush();
}

void Change::keep_tables(const std::vector<executor::Table>& tables) {
  if (!is_waited_for_) {
    return;
  }
  try {
    management::keep_tables(tables);
  } catch (const Error& error) {
    throw Error(std::string(error.what()) + "; nothing was changed");
  }
}

void Change::record_rules() {
  executor::system_executor().set_mode(executor::Mode::record);
}

void Change::make_rules() const {
  if (plan_) {
    record_rules();
    return;
  }
  executor::system_executor().set_mode(options_.one_by_one ? executor::Mode::execute
                                                           : executor::Mode::transaction);
}

bool Change::rollback() {
  const std::vector<std::string> remains = restore_all();
  notify_remains(remains);
  return remains.empty();
}

/* Returns what could not be put back. */
std::vector<std::string> Change::restore_all() {
  std::vector<std::string> problems = quietly([&] { return snapshot_->restore(); });
  if (const std::string rules = executor::system_executor().rollback(); !rules.empty()) {
    problems.push_back(rules);
  }
  return problems;
}

void Change::add_failures(ChangeResult& result) const {
  std::vector<std::string> lines;
  for (const executor::FailedLine& failed : executor::system_executor().failed_lines()) {
    lines.push_back(failed.line);
  }
  const std::vector<Origin> origins = origins_of(lines);
  auto origin = origins.begin();
  for (const executor::FailedLine& failed : executor::system_executor().failed_lines()) {
    result.failed_rules.push_back(
        {(origin++)->path, failed.line, outcome(failed.status), first_line(failed.message)});
  }
}

/* The time begins once the rules are made. Where that cannot be noted, the change is rolled back, and fails. */
void Change::confirm_or_roll_back(const settings::Settings& after) {
  try {
    is_waited_for_ = complete_confirmation(options_, before_, after);
  } catch (const Error& error) {
    is_waited_for_ = false;
    const bool is_restored = rollback();
    is_restored ? end_confirmation() : leave_to_timer();
    throw Error(std::string(error.what()) +
                (is_restored ? "; everything is as it was before" : "; the change failed"));
  }
}

/* What was done stays done, whatever becomes of its note. */
void Change::note_success(ChangeResult& result) {
  settings::Settings after;
  try {
    after = load_stored();
  } catch (const Error& error) {
    notify(std::string("warning: ") + error.what() + "; the change is not in the history");
    result.is_pending = is_waited_for_;
    return;
  }
  if (is_waited_for_) {
    confirm_or_roll_back(after);
    result.is_pending = is_waited_for_;
  }
  if (is_waited_for_ || holds_any(differing_sections(before_, after))) {
    result.id = id_;
  }
  add_to_history(options_, id_, before_, after);
}

ChangeResult Change::finish() {
  ChangeResult result;
  result.on_failure = on_failure_;
  if (plan_) {
    result.failed = failed_;
    result.is_done = failed_.empty();
    result.plan = plan_->finish(before_);
    return result;
  }
  result.is_done = make();
  result.failed = failed_;
  if (!result.is_done && on_failure_ == OnFailure::rollback) {
    result.not_restored = restore_all();
    if (is_waited_for_) {
      result.not_restored.empty() ? end_confirmation() : leave_to_timer();
    }
  } else if (has_history_) {
    note_success(result);
  }
  add_failures(result);
  return result;
}

bool Change::make() {
  if (plan_) {
    return failed_.empty();
  }
  const bool is_made = quietly([] { return executor::system_executor().commit(); });
  return is_made && failed_.empty() && executor::system_executor().failed_lines().empty();
}

}  // namespace management
