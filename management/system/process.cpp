#include "management/system/process.hpp"

#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "management/error.hpp"

namespace management {

namespace {

/* A file in memory: other than a pipe it never fills up, so nobody has to be waited for in turns. */
class MemoryFile {
 public:
  MemoryFile() : fd_(memfd_create("l3ctl", MFD_CLOEXEC)) {
    if (fd_ == -1) {
      throw Error(std::string("cannot make a file in memory: ") + std::strerror(errno));
    }
  }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  ~MemoryFile() { close(fd_); }

  [[nodiscard]] int fd() const { return fd_; }

  void fill(const std::string& text) const {
    size_t done = 0;
    while (done < text.size()) {
      const ssize_t written = write(fd_, text.data() + done, text.size() - done);
      if (written <= 0) {
        throw Error(std::string("cannot write to a file in memory: ") + std::strerror(errno));
      }
      done += static_cast<size_t>(written);
    }
    lseek(fd_, 0, SEEK_SET);
  }

  [[nodiscard]] std::string text() const {
    std::string result;
    char buffer[4096];
    off_t at = 0;
    for (ssize_t got = 0; (got = pread(fd_, buffer, sizeof buffer, at)) > 0; at += got) {
      result.append(buffer, static_cast<size_t>(got));
    }
    return result;
  }

 private:
  int fd_;
};

int exit_status(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) == -1) {
    if (errno != EINTR) {
      return -1;
    }
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

ToolRun run_tool(const std::vector<std::string>& words, const std::string& input) {
  const MemoryFile in;
  const MemoryFile out;
  const MemoryFile errors;
  in.fill(input);

  posix_spawn_file_actions_t descriptors;
  posix_spawn_file_actions_init(&descriptors);
  posix_spawn_file_actions_adddup2(&descriptors, in.fd(), STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&descriptors, out.fd(), STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&descriptors, errors.fd(), STDERR_FILENO);
  // Signals that this program, or whoever started it, puts off can still end a tool that hangs.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
  std::vector<char*> arguments;
  for (const std::string& word : words) {
    arguments.push_back(const_cast<char*>(word.c_str()));
  }
  arguments.push_back(nullptr);
  pid_t child = -1;
  const int error =
      posix_spawnp(&child, arguments[0], &descriptors, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&descriptors);
  if (error != 0) {
    return {-1, {}, std::strerror(error)};
  }
  const int status = exit_status(child);
  return {status, out.text(), errors.text()};
}

}  // namespace management
