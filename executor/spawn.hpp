/* A program started without a shell, its input and output in memory. */
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

namespace executor {

struct Ended {
  int status = 0; /* the wait status, as wait(2) describes it */
  std::string output;
  std::string errors; /* what it wrote to standard error */
};

/* A program at work. Must be waited for. */
class Started {
 public:
  /* Starts the program that PATH leads to; one that cannot be started ends with 127. */
  explicit Started(const std::vector<std::string>& words, std::string_view input = {});
  /* A line for the shell, its standard input and output those of this program. */
  explicit Started(const char* line);
  Started(const Started&) = delete;
  Started& operator=(const Started&) = delete;
  ~Started();

  /* Waits for its end. Once. */
  [[nodiscard]] Ended ended();

 private:
  pid_t process_ = -1;
  void start(const std::vector<std::string>& words, int input, int output);

  int input_ = -1;
  int output_ = -1;
  int errors_;
  std::string problem_; /* why it could not be started */
};

[[nodiscard]] Ended run(const std::vector<std::string>& words, std::string_view input = {});

/* A file in memory, all of it. */
[[nodiscard]] std::string content(int file);

}  // namespace executor
