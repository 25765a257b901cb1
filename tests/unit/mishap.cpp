#include "mishap.hpp"

#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace harness {

namespace {

bool counting = false;
bool answering = false;
std::vector<int> ways_seen;
Met struck;

}  // namespace

const std::vector<int>& operations() {
  return ways_seen;
}
const Met& met() {
  return struck;
}

void start_counting_operations() {
  ways_seen.clear();
  struck = {};
  counting = true;
}

void stop_counting_operations() {
  counting = false;
}

bool goes_wrong(const std::string& operation, int ways) {
  if (!counting || answering) {
    return false;
  }
  ways_seen.push_back(ways);
  if (static_cast<int>(ways_seen.size()) != world.mishap.nth) {
    return false;
  }
  struck = {operation, ways};
  if (world.mishap.power_fails && world.mishap.way == 0) {
    kill(getpid(), SIGKILL);
  }
  return world.mishap.way < ways;
}

bool breaks(const char* operation, int error) {
  const bool wrong = goes_wrong(operation, 1);
  if (wrong) {
    errno = error;
  }
  return wrong;
}

int answer(const std::string& command) {
  answering = true;
  const int status = world.system(command);
  answering = false;
  return status;
}

int run_badly(const std::string& command) {
  if (!world.mishap.power_fails && world.mishap.way == 1) {
    return -1;
  }
  answering = true;
  world.half_run(command);
  answering = false;
  if (world.mishap.power_fails) {
    kill(getpid(), SIGKILL);
  }
  return world.mishap.way == 0 ? exited(1) : killed_by(SIGKILL);
}

ssize_t read_badly(int fd, void* buffer) {
  if (world.mishap.way == 0) {
    errno = EIO;
    return -1;
  }
  return syscall(SYS_read, fd, buffer, size_t{1});
}

ssize_t write_badly(int fd, const void* buffer, size_t size) {
  if (world.mishap.power_fails) {
    const auto here = static_cast<off_t>(syscall(SYS_lseek, fd, 0, SEEK_CUR));
    syscall(SYS_write, fd, buffer,
            world.mishap.way == 1 ? size / 2 : static_cast<size_t>(world.mishap.cut_at - here));
    kill(getpid(), SIGKILL);
  }
  switch (world.mishap.way) {
    case 0:
      errno = ENOSPC;
      return -1;
    case 1:
      return syscall(SYS_write, fd, buffer, size_t{1});
    case 2:
      return syscall(SYS_write, fd, buffer, size - 1);
    default:
      return 0;
  }
}

int ways_of_read() {
  return world.mishap.power_fails ? 1 : 2;
}

/* The last way of a power cut needs its place to be inside the write. */
int ways_of_write(int fd, size_t size) {
  if (!world.mishap.power_fails) {
    return 4;
  }
  const auto here = static_cast<off_t>(syscall(SYS_lseek, fd, 0, SEEK_CUR));
  const bool inside =
      world.mishap.cut_at > here && world.mishap.cut_at < here + static_cast<off_t>(size);
  return inside ? 3 : 2;
}

int ways_of_command(const std::string& command) {
  if (!world.mishap.power_fails) {
    return 3;
  }
  return command.find('>') != std::string::npos ? 2 : 1;
}

}  // namespace harness
