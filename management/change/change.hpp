/*
 * A change of the settings: take the lock, load what is stored, call the library, then commit all rules at
 * once or roll everything back.
 */
#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "management/change/plan.hpp"
#include "management/options.hpp"
#include "management/store/store_snapshot.hpp"
#include "management/store/stored_settings.hpp"
#include "management/system/block_signals.hpp"
#include "management/system/lock.hpp"
#include "management/system/redirect_output.hpp"
#include "settings/settings.hpp"

namespace management {

/* What remains of a change that fails. */
enum class OnFailure : uint8_t {
  rollback,  /* nothing: settings, files, rules and platform are what they were */
  continue_, /* everything that did not fail */
};

/* Which stored states a change accepts besides a sound one. */
struct Preconditions {
  bool allow_damaged = false;     /* a torn or implausible configuration file */
  bool allow_unsafe_text = false; /* stored text that a shell would interpret */
  bool allow_pending = false;     /* a change that waits for its confirmation */
};

inline constexpr Preconditions sound_state = {};
inline constexpr Preconditions any_state = {
    .allow_damaged = true, .allow_unsafe_text = false, .allow_pending = true};

/* A rule that the packet filter refused. */
struct FailedRule {
  std::string setting; /* the path of the setting that it comes from; empty where none is known */
  std::string line;
  std::string outcome; /* how the tool ended */
  std::string message; /* the tool's first line */
};

struct ChangeResult {
  bool is_done = false;
  OnFailure on_failure = OnFailure::rollback;
  std::vector<std::string> failed; /* calls for which the library reports a failure */
  std::vector<FailedRule> failed_rules;
  std::vector<std::string> not_restored; /* what the rollback could not restore */
  std::string id;                        /* empty where no setting was changed */
  bool is_pending = false;               /* it is rolled back unless it is confirmed */
  std::optional<Plan> plan;              /* of a dry run, where nothing was done */
};

class Change {
 public:
  /* Proves that the library's command lines end in this program, and loads what is stored. */
  Change(const Options& options, Lock lock, const Preconditions& accepted, OnFailure on_failure);
  explicit Change(const Options& options, const Preconditions& accepted = sound_state);
  Change(const Change&) = delete;
  Change& operator=(const Change&) = delete;
  ~Change();

  [[nodiscard]] const settings::Settings& stored() const { return stored_; }

  /* What the library reports as failed so far. */
  [[nodiscard]] const std::vector<std::string>& failed() const { return failed_; }

  /* Loads again, after the file was replaced. */
  void load() { stored_ = load_stored(); }

  /* What is stored now counts as what was stored before, and nothing of this change is noted in the history. */
  void begin_anew() { before_ = load_stored(); }
  void leave_out_of_history() { has_history_ = false; }

  /* Calls the library; a result of 0 is success. A failure is noted for the result. */
  template <typename Call>
  bool call(const std::string& what, Call&& library_call) {
    const bool succeeded = quietly(library_call) == 0;
    if (!succeeded) {
      failed_.push_back(what);
    }
    return succeeded;
  }

  /* Before its first call, for a change whose rules nothing stores: an unconfirmed one takes them back from these tables. */
  void keep_tables(const std::vector<executor::Table>& tables);

  /* Adds another file to the snapshot that a rollback restores. */
  void add_file(const std::string& path) { snapshot_->add(path); }

  /* Calls the library while none of its command lines is run: what it stores is stored. */
  template <typename Calls>
  void without_rules(Calls&& calls) {
    record_rules();
    calls();
    make_rules();
  }

  /* Restores the state before the change. Returns whether all of it could be restored, and notifies of what could
   * not. */
  bool rollback();

  /* Makes the rules, unless that was done before. Returns whether nothing failed. */
  bool make();

  /* Makes the rules; when anything failed, rolls back. */
  ChangeResult finish();

 private:
  static void record_rules();
  void make_rules() const;
  std::vector<std::string> restore_all();
  void note_success(ChangeResult& result);
  void confirm_or_roll_back(const settings::Settings& after);
  void add_failures(ChangeResult& result) const;

  const Options& options_;
  OnFailure on_failure_;
  int exceptions_ = std::uncaught_exceptions();
  BlockSignals signals_; /* outlives the lock: a process that a signal stops must not hold it */
  Lock lock_;
  std::optional<StoreSnapshot> snapshot_;
  std::optional<PlanRecorder> plan_;
  settings::Settings before_;
  settings::Settings stored_;
  std::string id_;
  bool has_history_ = true;
  bool is_waited_for_ = false; /* the timer of the confirmation runs */
  std::vector<std::string> failed_;
};

}  // namespace management
