#include "l3ctl/answer.hpp"

#include <csignal>
#include <iostream>

#include "l3ctl/context.hpp"

namespace l3ctl {

namespace {

bool is_change_made = false;

}  // namespace

void survive_lost_answer() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

void note_change_made() {
  is_change_made = true;
  survive_lost_answer();
}

int finish_answer(int status) {
  std::cout.flush();
  if (std::cout) {
    return status;
  }
  if (is_change_made && status == exit_done) {
    complain("the change was made, but its answer could not be written to standard output");
    return exit_unanswered;
  }
  complain("cannot write to standard output");
  return exit_failed;
}

}  // namespace l3ctl
