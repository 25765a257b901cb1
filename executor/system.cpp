#include "executor/system.hpp"

namespace executor {

Executor& system_executor() {
  static Executor instance;
  return instance;
}

}  // namespace executor

extern "C" __attribute__((visibility("default"))) int system(const char* command) {
  return executor::system_executor().run(command);
}
