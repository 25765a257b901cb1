/* The library writes lines to standard output, where results of ours belong. */
#pragma once

namespace management {

/* While one of these lives, standard output is kept in memory; then it goes to standard error, escaped. Where
 * no memory file can be made, it leads to standard error as it is. */
class StdoutToStderr {
 public:
  StdoutToStderr();
  StdoutToStderr(const StdoutToStderr&) = delete;
  StdoutToStderr& operator=(const StdoutToStderr&) = delete;
  ~StdoutToStderr();

 private:
  int stdout_;
  int kept_;
};

/* While one of these lives, standard output and standard error are discarded. */
class DiscardOutput {
 public:
  DiscardOutput();
  DiscardOutput(const DiscardOutput&) = delete;
  DiscardOutput& operator=(const DiscardOutput&) = delete;
  ~DiscardOutput();

 private:
  int stdout_;
  int stderr_;
};

/* Calls the library with its standard output on standard error. */
template <typename Call>
auto quietly(Call&& call) {
  const StdoutToStderr redirection;
  return call();
}

}  // namespace management
