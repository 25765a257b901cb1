/*
 * What system() does in our own programs.
 *
 * The library hands every command line to system(), and the program that loads the library may define that
 * function. Ours gives each line to an Executor, which has three modes:
 *
 *   execute      runs the line in a shell and keeps it if it fails, since several library calls ignore a
 *                failed rule
 *   record       runs no line, keeps all of them, and lets each succeed: these are the lines that run in
 *                the mode execute when every command succeeds
 *   transaction  holds the rule edits, which commit() makes together: no packet and no kill meets half of
 *                them; transaction.hpp says what happens to other lines
 *
 * A transaction reads each table before it changes it; rollback() needs that.
 *
 * A process that was forked off has no transaction: its executor starts afresh in the mode execute.
 */
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "executor/line_runner.hpp"
#include "executor/snapshots.hpp"
#include "executor/transaction.hpp"

namespace executor {

enum class Mode : std::uint8_t { execute, record, transaction };

class Executor {
 public:
  Executor();
  Executor(const Executor&) = delete;
  Executor& operator=(const Executor&) = delete;

  /* Discards the edits that a transaction holds. Everything else stays: the tables as they were read, the
   * recorded lines, the failed ones, and which may fail. */
  void set_mode(Mode mode);

  /* What a transaction does at a refused edit; `stop` unless set. The edits that it holds stay. */
  void set_on_refusal(OnRefusal on_refusal);

  /* Whether a transaction flushes and fills chains whatever they hold, as a yardstick; not unless set. */
  void set_refills(bool refills) { refills_ = refills; }

  /* In the mode execute too, a table is read before the first line that may change it. */
  void keep_snapshots() { keeps_snapshots_ = true; }

  /* Lines that begin so may exit with 1; see line_runner.hpp. */
  void allow_failure(std::string_view beginning) { runner_.allow_failure(beginning); }

  /* Takes one line. Returns its wait status. */
  int run(const char* line);

  /* Makes the edits that the transaction holds. Returns false where a refusal stopped it. With
   * OnRefusal::continue_ it returns true, and only failed_lines() says what was refused. */
  bool commit();

  /* Undoes all changes of the rules; those that other programs made stay. Returns what could not be undone,
   * empty if nothing. */
  [[nodiscard]] std::string rollback();

  [[nodiscard]] const std::vector<std::string>& recorded_lines() const { return recorded_; }
  [[nodiscard]] const std::vector<FailedLine>& failed_lines() const {
    return runner_.failed_lines();
  }
  void forget_failed_lines() { runner_.forget_failed_lines(); }

  /* How many lines ran in a shell. */
  [[nodiscard]] std::uint64_t lines_run() const { return runner_.lines_run(); }

  /* Whether `run_line` (the library's runner of command lines) ends in run(). Hands it a line that run()
   * recognises; a shell would take it for a comment. */
  [[nodiscard]] bool is_interposed(std::int32_t (*run_line)(const char* command));

  /* Whether this process was forked off since the mode was set. The next call then starts afresh. */
  [[nodiscard]] bool is_forked() const;

 private:
  bool reset_after_fork();

  Mode mode_ = Mode::execute;
  pid_t owner_;
  OnRefusal on_refusal_ = OnRefusal::stop;
  bool keeps_snapshots_ = false;
  bool refills_ = false;
  bool expects_canary_ = false;
  std::vector<std::string> recorded_;
  LineRunner runner_;
  Snapshots snapshots_{runner_};
  std::optional<Transaction> transaction_;
};

}  // namespace executor
