#include "executor/direct.hpp"

#include "executor/failed_line.hpp"
#include "executor/spawn.hpp"

namespace executor {

int run_directly(const char* command) {
  count_line();
  const Ended ended = Started(command).ended();
  return ended_with({command, ended.status, ended.errors});
}

}  // namespace executor
