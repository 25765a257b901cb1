#include "executor/executor.hpp"

#include <unistd.h>

#include <cstring>

namespace executor {

namespace {

constexpr const char* canary = "# is this program's system() in place?";

}  // namespace

Executor::Executor() : owner_(getpid()) {}

void Executor::set_mode(Mode mode) {
  reset_after_fork();
  mode_ = mode;
  transaction_.reset();
  if (mode == Mode::transaction) {
    transaction_.emplace(runner_, snapshots_, on_refusal_, refills_);
  }
}

void Executor::set_on_refusal(OnRefusal on_refusal) {
  on_refusal_ = on_refusal;
  if (transaction_) {
    transaction_->set_on_refusal(on_refusal);
  }
}

int Executor::run(const char* line) {
  if (expects_canary_ && std::strcmp(line, canary) == 0) {
    expects_canary_ = false;
    return 0;
  }
  reset_after_fork();
  switch (mode_) {
    case Mode::record:
      recorded_.emplace_back(line);
      return 0;
    case Mode::transaction:
      return transaction_->take(line);
    case Mode::execute:
      break;
  }
  return keeps_snapshots_ ? snapshots_.run(line) : runner_.run(line);
}

bool Executor::commit() {
  return !reset_after_fork() && (!transaction_ || transaction_->commit());
}

std::string Executor::rollback() {
  reset_after_fork();
  return snapshots_.rollback();
}

bool Executor::is_interposed(std::int32_t (*run_line)(const char* command)) {
  expects_canary_ = true;
  run_line(canary);
  const bool arrived = !expects_canary_;
  expects_canary_ = false;
  return arrived;
}

bool Executor::is_forked() const {
  return owner_ != getpid();
}

/* What the parent changed is the parent's to commit or to roll back. */
bool Executor::reset_after_fork() {
  if (!is_forked()) {
    return false;
  }
  owner_ = getpid();
  mode_ = Mode::execute;
  keeps_snapshots_ = false;
  transaction_.reset();
  snapshots_.clear();
  runner_.forget_failed_lines();
  recorded_.clear();
  return true;
}

}  // namespace executor
