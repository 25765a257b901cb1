#include "executor/direct.hpp"

#include <dlfcn.h>
#include <sys/mman.h>
#include <unistd.h>

#include "executor/executor.hpp"
#include "executor/spawn.hpp"

namespace {

std::vector<executor::FailedLine> failed;
std::uint64_t run_count = 0;

int c_library_system(const char* command) {
  using System = int (*)(const char*);
  static const auto next = reinterpret_cast<System>(dlsym(RTLD_NEXT, "system"));
  return next(command);
}

/* Standard error, caught in a memory file while this lives. */
class CaughtErrors {
 public:
  CaughtErrors() : real_(dup(STDERR_FILENO)), file_(memfd_create("errors", MFD_CLOEXEC)) {
    if (real_ != -1 && file_ != -1) {
      dup2(file_, STDERR_FILENO);
    }
  }
  CaughtErrors(const CaughtErrors&) = delete;
  CaughtErrors& operator=(const CaughtErrors&) = delete;
  ~CaughtErrors() {
    restore();
    if (file_ != -1) {
      close(file_);
    }
  }

  std::string text() {
    restore();
    return file_ == -1 ? std::string() : executor::content(file_);
  }

 private:
  void restore() {
    if (real_ != -1) {
      dup2(real_, STDERR_FILENO);
      close(real_);
      real_ = -1;
    }
  }

  int real_;
  int file_;
};

}  // namespace

namespace executor {

int run_directly(const char* command) {
  ++run_count;
  CaughtErrors errors;
  const int status = c_library_system(command);
  const std::string message = errors.text();
  if (status != 0) {
    note_failed_line({command, status, message});
  }
  return status;
}

void note_failed_line(const FailedLine& line) {
  failed.push_back(line);
}

const std::vector<FailedLine>& failed_lines() {
  return failed;
}

void forget_failed_lines() {
  failed.clear();
}

std::uint64_t lines_run() {
  return run_count;
}

}  // namespace executor
