#include "executor/process.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

namespace executor {

namespace {

/* Unlike a pipe a memory file never fills up, so neither side waits for the other. Its descriptor stays
 * clear of the standard ones, which a program may have closed. */
int memory_file(std::string_view text) {
  int file = memfd_create("executor", MFD_CLOEXEC);
  if (file != -1 && file <= STDERR_FILENO) {
    const int low = file;
    file = fcntl(low, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    close(low);
  }
  if (file != -1 && !text.empty() && (!write_all(file, text) || lseek(file, 0, SEEK_SET) != 0)) {
    close(file);
    return -1;
  }
  return file;
}

void close_if_open(int file) {
  if (file != -1) {
    close(file);
  }
}

int spawn(pid_t& process, const std::vector<std::string>& words, const int (&files)[3]) {
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (const std::string& word : words) {
    arguments.push_back(const_cast<char*>(word.c_str()));
  }
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  for (int place = STDIN_FILENO; place <= STDERR_FILENO; ++place) {
    if (files[place] != place) {
      posix_spawn_file_actions_adddup2(&actions, files[place], place);
    }
  }
  // Signals that this program blocks can still end a tool that hangs.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
  const int error =
      posix_spawnp(&process, arguments[0], &actions, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return error;
}

}  // namespace

int ProcessResult::exit_status() const {
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

Process::Process(const std::vector<std::string>& words, std::string_view input)
    : input_(memory_file(input)), output_(memory_file({})), errors_(memory_file({})) {
  start(words, input_, output_);
}

Process::Process(const char* line) : errors_(memory_file({})) {
  start({"/bin/sh", "-c", line}, STDIN_FILENO, STDOUT_FILENO);
}

void Process::start(const std::vector<std::string>& words, int input, int output) {
  const int error = input == -1 || output == -1 || errors_ == -1
                        ? errno
                        : spawn(process_, words, {input, output, errors_});
  starter_ = getpid();
  if (error != 0) {
    process_ = -1;
    problem_ = words[0] + ": " + std::strerror(error) + '\n';
  }
}

Process::~Process() {
  static_cast<void>(wait());
  for (const int file : {input_, output_, errors_}) {
    close_if_open(file);
  }
}

ProcessResult Process::wait() {
  if (process_ == -1 || starter_ != getpid()) {
    return {.status = 127 << 8, .is_started = false, .output = {}, .errors = problem_};
  }
  ProcessResult result;
  pid_t waited = 0;
  do {
    waited = waitpid(process_, &result.status, 0);
  } while (waited == -1 && errno == EINTR);
  if (waited == -1) {
    result.status = -1;
  }
  process_ = -1;
  problem_ = "waited for twice\n";
  result.output = output_ == -1 ? "" : read_all(output_);
  result.errors = read_all(errors_);
  return result;
}

ProcessResult run(const std::vector<std::string>& words, std::string_view input) {
  return Process(words, input).wait();
}

bool write_all(int file, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(file, text.data(), text.size());
    if (written > 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (written == 0) {
      errno = EIO;
      return false;
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

std::string read_all(int file) {
  std::string text;
  char buffer[4096];
  ssize_t got = 0;
  for (off_t at = 0; (got = pread(file, buffer, sizeof(buffer), at)) > 0; at += got) {
    text.append(buffer, static_cast<std::size_t>(got));
  }
  return text;
}

}  // namespace executor
