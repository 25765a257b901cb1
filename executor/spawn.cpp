#include "executor/spawn.hpp"

#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

namespace executor {

namespace {

int memory_file(std::string_view text) {
  const int file = memfd_create("executor", MFD_CLOEXEC);
  while (file != -1 && !text.empty()) {
    const ssize_t written = write(file, text.data(), text.size());
    if (written <= 0) {
      close(file);
      return -1;
    }
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  if (file != -1) {
    lseek(file, 0, SEEK_SET);
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
    posix_spawn_file_actions_adddup2(&actions, files[place], place);
  }
  // Signals that this program puts off can still end a tool that hangs.
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

Started::Started(const std::vector<std::string>& words, std::string_view input)
    : input_(memory_file(input)), output_(memory_file({})), errors_(memory_file({})) {
  start(words, input_, output_);
}

Started::Started(const char* line) : errors_(memory_file({})) {
  start({"/bin/sh", "-c", line}, STDIN_FILENO, STDOUT_FILENO);
}

void Started::start(const std::vector<std::string>& words, int input, int output) {
  const int error = input == -1 || output == -1 || errors_ == -1
                        ? errno
                        : spawn(process_, words, {input, output, errors_});
  if (error != 0) {
    process_ = -1;
    problem_ = words[0] + ": " + std::strerror(error) + '\n';
  }
}

Started::~Started() {
  if (process_ != -1) {
    static_cast<void>(ended());
  }
  for (const int file : {input_, output_, errors_}) {
    close_if_open(file);
  }
}

Ended Started::ended() {
  if (process_ == -1) {
    return {.status = 127 << 8, .output = {}, .errors = problem_};
  }
  Ended result;
  pid_t waited = 0;
  do {
    waited = waitpid(process_, &result.status, 0);
  } while (waited == -1 && errno == EINTR);
  if (waited == -1) {
    result.status = -1;
  }
  process_ = -1;
  problem_ = "waited for twice\n";
  result.output = content(output_);
  result.errors = content(errors_);
  return result;
}

Ended run(const std::vector<std::string>& words, std::string_view input) {
  return Started(words, input).ended();
}

std::string content(int file) {
  std::string text;
  char buffer[4096];
  ssize_t got = 0;
  for (off_t at = 0; (got = pread(file, buffer, sizeof(buffer), at)) > 0; at += got) {
    text.append(buffer, static_cast<std::size_t>(got));
  }
  return text;
}

}  // namespace executor
