#include "console/broker/child.hpp"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace console {

namespace {

/* What a child that could not become l3ctl ends with, as a shell does. */
constexpr int not_found = 127;

struct Pipe {
  Descriptor read;
  Descriptor write;
};

bool open_pipe(Pipe& pipe) {
  std::array<int, 2> fds{};
  if (pipe2(fds.data(), O_CLOEXEC) != 0) {
    return false;
  }
  pipe.read = Descriptor(fds[0]);
  pipe.write = Descriptor(fds[1]);
  return true;
}

void set_nonblocking(const Descriptor& descriptor) {
  fcntl(descriptor.get(), F_SETFL, O_NONBLOCK);
}

/* A file in memory, and none for an empty text. */
bool open_stored(const std::string& text, Descriptor& file) {
  if (text.empty()) {
    return true;
  }
  file = Descriptor(memfd_create("stored", MFD_CLOEXEC));
  return write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

/* In the child: nothing of the broker but these descriptors is left to l3ctl, as 0 and on. */
[[noreturn]] void become(const std::vector<std::string>& words,
                         const std::array<int, stored_fd + 1>& descriptors) {
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (const std::string& word : words) {
    arguments.push_back(const_cast<char*>(word.c_str()));
  }
  arguments.push_back(nullptr);
  setpgid(0, 0);
  unsigned next = 0;
  for (const int descriptor : descriptors) {
    if (descriptor != -1 && dup2(descriptor, static_cast<int>(next++)) == -1) {
      _exit(not_found);
    }
  }
  if (syscall(SYS_close_range, next, ~0U, 0U) != 0) {
    _exit(not_found);
  }
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  signal(SIGPIPE, SIG_DFL);
  execv(arguments[0], arguments.data());
  _exit(not_found);
}

}  // namespace

std::int64_t milliseconds_now() {
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  if (this != &other) {
    close();
    fd_ = other.release();
  }
  return *this;
}

int Descriptor::release() {
  return std::exchange(fd_, -1);
}

void Descriptor::close() {
  if (fd_ != -1) {
    ::close(release());
  }
}

Child::Child(const NumberedCall& numbered, const std::vector<std::string>& words, int seconds)
    : input_(numbered.call.input), deadline_(milliseconds_now() + seconds * std::int64_t{1000}) {
  answer_.id = numbered.id;
  answer_.outcome = Outcome::not_started;
  has_ended_ = true;
  Pipe in;
  Pipe out;
  Pipe err;
  Descriptor stored;
  if (!open_pipe(in) || !open_pipe(out) || !open_pipe(err) ||
      !open_stored(numbered.call.stored, stored)) {
    return;
  }
  pid_ = fork();
  if (pid_ == 0) {
    become(words, {in.read.get(), out.write.get(), err.write.get(), stored.get()});
  }
  if (pid_ == -1) {
    return;
  }
  process_ = Descriptor(static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)));
  in_ = std::move(in.write);
  out_ = std::move(out.read);
  err_ = std::move(err.read);
  set_nonblocking(in_);
  set_nonblocking(out_);
  set_nonblocking(err_);
  answer_.outcome = Outcome::ended;
  has_ended_ = false;
}

void Child::add_events(std::vector<pollfd>& events) const {
  events.push_back({process_.get(), POLLIN, 0});
  events.push_back({in_.get(), POLLOUT, 0});
  events.push_back({out_.get(), POLLIN, 0});
  events.push_back({err_.get(), POLLIN, 0});
}

void Child::serve(const pollfd* events) {
  if (events[1].revents != 0 || written_ == input_.size()) {
    write_input();
  }
  if (events[2].revents != 0) {
    read_into(out_, answer_.output, largest_output);
  }
  if (events[3].revents != 0) {
    read_into(err_, answer_.errors, largest_errors);
  }
  if (events[0].revents != 0) {
    reap();
  } else if (milliseconds_now() >= deadline_ && !has_ended_) {
    end_early(Outcome::too_slow);
  }
}

/* A child that does not read its input is no failure: it may have found a fault before. */
void Child::write_input() {
  while (in_.get() != -1) {
    const ssize_t count = write(in_.get(), input_.data() + written_, input_.size() - written_);
    if (count == -1 && (errno == EAGAIN || errno == EINTR)) {
      return;
    }
    written_ += count > 0 ? static_cast<std::size_t>(count) : 0;
    if (count == -1 || written_ == input_.size()) {
      in_.close();
    }
  }
}

void Child::read_into(Descriptor& from, std::string& text, std::size_t most) {
  std::array<char, 65536> bytes;
  while (from.get() != -1) {
    const ssize_t count = read(from.get(), bytes.data(), bytes.size());
    if (count == -1 && errno == EAGAIN) {
      return;
    }
    if (count <= 0) {
      from.close();
      return;
    }
    if (text.size() + static_cast<std::size_t>(count) > most) {
      end_early(Outcome::too_long);
      return;
    }
    text.append(bytes.data(), static_cast<std::size_t>(count));
  }
}

/* What the process wrote last still lies in the pipes; a process that it left behind may hold them
 open. */
void Child::reap() {
  read_into(out_, answer_.output, largest_output);
  read_into(err_, answer_.errors, largest_errors);
  int status = 0;
  if (has_ended_ || waitpid(pid_, &status, 0) != pid_) {
    return;
  }
  has_ended_ = true;
  answer_.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  if (!WIFEXITED(status)) {
    answer_.outcome = Outcome::crashed;
  } else if (answer_.status == not_found) {
    answer_.outcome = Outcome::not_started;
  }
}

void Child::end_early(Outcome outcome) {
  kill(-pid_, SIGKILL);
  kill(pid_, SIGKILL);
  int status = 0;
  waitpid(pid_, &status, 0);
  has_ended_ = true;
  answer_.outcome = outcome;
  answer_.output.clear();
}

}  // namespace console
