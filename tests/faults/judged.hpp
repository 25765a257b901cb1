/* What a run with a fault is held against, one point at a time. */
#pragma once

#include "course.hpp"
#include "trial.hpp"

namespace scenarios {

std::string first_word(const std::string& text);
int commands_in(const std::string& transcript);

/* str_system() says so when a command line fails. */
void expect_logged(const Account& account, harness::Way way);
/* What comes next, in place of what a run without a fault does, are these words; or nothing new is said
 * at all. */
void expect_words_next(const harness::Lines& words, const Account& account, const Account& clean);
/* Behind what str_system() says, these words follow sooner or later. */
void expect_words_somewhere(const Step& step, const Account& account, const Account& clean);

/* A byte that is another than before, or was not there. */
struct Change {
  std::string file;
  size_t offset;
  bool is_zero; /* now */
};
using Changes = std::vector<Change>;

/* The files as they are now, held against the start, but for the bytes that the scenario owns and the
 * rule sets that it has saved. */
Changes changes_beyond_its_own(const Scenario& scenario, const Start& start,
                               const Account& account);
/* Whether it is one that a failed reload between two writes may make. */
bool is_loss(const Scenario& scenario, const Change& change, const std::string& met);

}  // namespace scenarios
