/* Other programs, run by name through PATH and without a shell. */
#pragma once

#include <string>
#include <vector>

namespace management {

struct ToolRun {
  int status =
      0; /* exit status; 128 and the signal where one ended it; -1 where it was not started */
  std::string output;
  std::string errors; /* what it wrote to standard error, or why it was not started */
};

/* Runs a program to its end. Nothing of it reaches our own descriptors. */
ToolRun run_tool(const std::vector<std::string>& words, const std::string& input = {});

}  // namespace management
