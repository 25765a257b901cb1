/* The checks of a run with a fault, one function each. */
#pragma once

#include "expectation.hpp"
#include "run.hpp"

namespace scenarios {

std::string first_word(const std::string& text);
int commands_in(const std::string& transcript);

/* A failed command line is in the log with the words of str_system(). */
void expect_logged(const Outcome& outcome, harness::Way way);
/* Where the transcript departs from that of a run without a fault, these lines follow; for none, no
 * further error is reported. */
void expect_words_next(const harness::Lines& words, const Outcome& outcome, const Outcome& clean);
/* The step's lines follow somewhere behind those of str_system(). */
void expect_words_somewhere(const Step& step, const Outcome& outcome, const Outcome& clean);

/* A byte that has changed or was added. */
struct Change {
  std::string file;
  size_t offset;
  bool is_zero; /* now */
};
using Changes = std::vector<Change>;

/* Changed bytes of all files, compared with the start, outside the bytes that the scenario owns and the
 * rule sets that it has saved. */
Changes changes_beyond_its_own(const Scenario& scenario, const Start& start,
                               const Outcome& outcome);
/* Whether a failed reload between two writes may make this change. */
bool is_loss(const Scenario& scenario, const Change& change, const std::string& met);

}  // namespace scenarios
