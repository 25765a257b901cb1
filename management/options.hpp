/* What a caller chooses for every operation. */
#pragma once

#include <string>

namespace management {

struct Options {
  bool force = false;      /* also where the stored settings are damaged */
  bool one_by_one = false; /* run the library's command lines as they come, without a transaction */
  int lock_timeout = 30;   /* seconds to wait for the lock */
  bool dry_run = false;    /* plan a change, and make none */
  int confirm_within =
      0; /* seconds after which a change that is not confirmed is rolled back; 0 for none */
  /* For the history. */
  std::string who;
  std::string origin;
  std::string command;
};

}  // namespace management
