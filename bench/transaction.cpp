/*
 * bench_transaction CASE [refill]: the case's call with the executor that makes all rule edits at once, as
 * l3ctl does it, from its own start to its end; or with chains flushed and filled whatever they hold.
 */
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "cases.hpp"
#include "executor/system.hpp"
#include "l3_advance/shell_command.h"

namespace {

int run(const bench::Case& one, bool refills) {
  // A boot finds nothing in memory; every other call what is stored.
  if (one.name.rfind("boot", 0) != 0) {
    bench::load_stored();
  }
  executor::system_executor().set_refills(refills);
  executor::system_executor().set_mode(executor::Mode::transaction);
  const bool called = one.call() == 0;
  const bool made = executor::system_executor().commit();
  for (const executor::FailedLine& failed : executor::system_executor().failed_lines()) {
    fprintf(stderr, "%s: %s\n", failed.line.c_str(), failed.message.c_str());
  }
  return called && made ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
  if (!executor::system_executor().is_interposed(str_system)) {
    fputs("bench_transaction: the library does not run this program's system()\n", stderr);
    return 1;
  }
  const std::vector<bench::Case> all = bench::cases();
  const auto found = std::find_if(all.begin(), all.end(), [&](const bench::Case& one) {
    return count >= 2 && one.name == arguments[1];
  });
  const bool refills = count == 3 && std::strcmp(arguments[2], "refill") == 0;
  if (found == all.end() || (count != 2 && !refills)) {
    fputs("usage: bench_transaction CASE [refill]\n", stderr);
    return 2;
  }
  return run(*found, refills);
}
