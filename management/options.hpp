/* What a caller chooses for every operation. */
#pragma once

namespace management {

struct Options {
  bool force = false;      /* also where the stored settings are damaged */
  bool one_by_one = false; /* run the library's command lines as they come, without a transaction */
  int lock_timeout = 30;   /* seconds to wait for the lock */
};

}  // namespace management
