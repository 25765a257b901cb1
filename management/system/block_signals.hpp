/* Signals that must not interrupt a change half-way. */
#pragma once

#include <csignal>

namespace management {

/* While this blocks, no signal ends, stops or interrupts the process: each waits until the end, but
 * SIGKILL and SIGSTOP, which no process can block, and those of a fault in the program itself. */
class BlockSignals {
 public:
  BlockSignals() = default;
  BlockSignals(const BlockSignals&) = delete;
  BlockSignals& operator=(const BlockSignals&) = delete;
  ~BlockSignals() { restore(); }

  void block();
  void restore();

 private:
  bool is_blocking_ = false;
  sigset_t before_ = {};
};

}  // namespace management
