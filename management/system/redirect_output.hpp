/* The library writes lines to standard output, where results of ours belong. */
#pragma once

namespace management {

/* From now on the library's lines are held. Without it they go to standard error after each call. */
void hold_library_output();

/* Writes the lines that are held so far to standard error. */
void print_held_library_output();

/* While one of these lives, standard output is kept in memory; then it is held, or goes to standard error,
 * escaped. Where no memory file can be made, it leads to standard error as it is. */
class RedirectLibraryOutput {
 public:
  RedirectLibraryOutput();
  RedirectLibraryOutput(const RedirectLibraryOutput&) = delete;
  RedirectLibraryOutput& operator=(const RedirectLibraryOutput&) = delete;
  ~RedirectLibraryOutput();

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

/* Calls the library with its standard output redirected. */
template <typename Call>
auto quietly(Call&& call) {
  const RedirectLibraryOutput redirection;
  return call();
}

}  // namespace management
