#include "executor/process.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
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

bool starts_through_child = false;
thread_local __attribute__((tls_model("initial-exec"))) bool forks = false;

using Pointers = std::vector<char*>;

Pointers pointers_to(const std::vector<std::string>& words) {
  Pointers pointers;
  pointers.reserve(words.size() + 1);
  for (const std::string& word : words) {
    pointers.push_back(const_cast<char*>(word.c_str()));
  }
  pointers.push_back(nullptr);
  return pointers;
}

int spawn(pid_t& process, const Pointers& arguments, const int (&files)[3]) {
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

/* Returns the wait status of a child, -1 where there is none to wait for. */
int wait_status(pid_t child) {
  int status = 0;
  pid_t waited = 0;
  do {
    waited = waitpid(child, &status, 0);
  } while (waited == -1 && errno == EINTR);
  return waited == -1 ? -1 : status;
}

/* What the child tells of the program that it starts. */
struct Report {
  int error; /* why the program was not started */
  int status;
};

/* In the child. Other threads of the parent may have held locks, so nothing here allocates. */
[[noreturn]] void start_and_report(const Pointers& arguments, const Pointers& environment,
                                   const int (&files)[3], int report) {
  // Ignored, it would stay so in the program, whose own children then could not be waited for.
  signal(SIGCHLD, SIG_DFL);
  environ = const_cast<char**>(environment.data());
  pid_t process = -1;
  Report result = {.error = spawn(process, arguments, files), .status = -1};
  if (result.error == 0) {
    result.status = wait_status(process);
  }
  _exit(write(report, &result, sizeof result) == sizeof result ? 0 : 1);
}

/* This process's environment, with the extended PATH. */
std::vector<std::string> environment_for_tools() {
  std::vector<std::string> environment = {"PATH=" + extended_path()};
  for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
    if (std::strncmp(*variable, "PATH=", 5) != 0) {
      environment.emplace_back(*variable);
    }
  }
  return environment;
}

/* Returns the child, and in `report` the pipe from which its report is read; -1, and errno, where there is none. */
pid_t spawn_through_child(const Pointers& arguments, const int (&files)[3], int& report) {
  const std::vector<std::string> variables = environment_for_tools();
  const Pointers environment = pointers_to(variables);
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    return -1;
  }
  const pid_t child = fork_child();
  if (child == 0) {
    start_and_report(arguments, environment, files, ends[1]);
  }
  const int error = errno;
  close(ends[1]);
  if (child == -1) {
    close(ends[0]);
    errno = error;
    return -1;
  }
  report = ends[0];
  return child;
}

}  // namespace

pid_t fork_child() {
  forks = true;
  const pid_t child = fork();
  forks = false;
  return child;
}

bool is_forking() {
  return forks;
}

void start_through_child() {
  starts_through_child = true;
}

std::string extended_path() {
  const char* before = std::getenv("PATH");
  std::string path = before == nullptr || *before == '\0' ? "/usr/bin:/bin" : before;
  for (const std::string directory : {"/usr/sbin", "/sbin"}) {
    if ((':' + path + ':').find(':' + directory + ':') == std::string::npos) {
      path += ':' + directory;
    }
  }
  return path;
}

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
  const int problem = errno;
  starter_ = getpid();
  name_ = words[0];
  int error = problem;
  if (input != -1 && output != -1 && errors_ != -1) {
    const Pointers arguments = pointers_to(words);
    if (starts_through_child) {
      process_ = spawn_through_child(arguments, {input, output, errors_}, report_);
      error = process_ == -1 ? errno : 0;
    } else {
      error = spawn(process_, arguments, {input, output, errors_});
    }
  }
  if (error != 0) {
    process_ = -1;
    problem_ = name_ + ": " + std::strerror(error) + '\n';
  }
}

Process::~Process() {
  // Its output is not read: that takes memory, and nobody asked for it.
  if (process_ != -1 && starter_ == getpid()) {
    static_cast<void>(wait_status(process_));
  }
  for (const int file : {input_, output_, errors_, report_}) {
    close_if_open(file);
  }
}

ProcessResult Process::wait() {
  if (process_ == -1 || starter_ != getpid()) {
    return {.status = 127 << 8, .is_started = false, .output = {}, .errors = problem_};
  }
  ProcessResult result;
  if (report_ == -1) {
    result.status = wait_status(process_);
  } else {
    wait_for_report(result);
  }
  process_ = -1;
  problem_ = "waited for twice\n";
  result.output = output_ == -1 ? "" : read_all(output_);
  if (result.is_started) {
    result.errors = read_all(errors_);
  }
  return result;
}

/* A child that did not report was killed: how its program ended is not known. */
void Process::wait_for_report(ProcessResult& result) {
  Report report = {};
  ssize_t got = 0;
  do {
    got = read(report_, &report, sizeof report);
  } while (got == -1 && errno == EINTR);
  static_cast<void>(wait_status(process_));
  result.status = got == sizeof report ? report.status : -1;
  if (got == sizeof report && report.error != 0) {
    result = {.status = 127 << 8,
              .is_started = false,
              .output = {},
              .errors = name_ + ": " + std::strerror(report.error) + '\n'};
  }
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
