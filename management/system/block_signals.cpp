#include "management/system/block_signals.hpp"

#include <initializer_list>

namespace management {

void BlockSignals::block() {
  sigset_t signals;
  sigfillset(&signals);
  // Blocked, a fault would end the program all the same, without its report.
  for (const int fault : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP}) {
    sigdelset(&signals, fault);
  }
  is_blocking_ = sigprocmask(SIG_BLOCK, &signals, &before_) == 0;
}

void BlockSignals::restore() {
  if (is_blocking_) {
    is_blocking_ = false;
    sigprocmask(SIG_SETMASK, &before_, nullptr);
  }
}

}  // namespace management
