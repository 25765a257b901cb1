#include "subprocess.hpp"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

namespace scenarios {

namespace {

/* On a file system of the sandbox's own. */
constexpr char report[] = "/tmp/report";

}  // namespace

Reply in_subprocess(const std::function<Lines()>& action) {
  fflush(nullptr);
  harness::write_file(report, "");
  const bool failed_before = testing::Test::HasFailure();
  const pid_t child = fork();
  if (child == 0) {
    std::string text;
    for (const std::string& line : action()) {
      text += std::to_string(line.size()) + " " + line;
    }
    harness::write_file(report, text);
    fflush(nullptr);
    _exit(testing::Test::HasFailure() && !failed_before ? 1 : 0);
  }
  Reply reply;
  EXPECT_EQ(waitpid(child, &reply.status, 0), child);
  std::string text = harness::read_file(report);
  while (!text.empty()) {
    const size_t blank = text.find(' ');
    const size_t size = std::stoul(text.substr(0, blank));
    reply.lines.push_back(text.substr(blank + 1, size));
    text.erase(0, blank + 1 + size);
  }
  return reply;
}

}  // namespace scenarios
