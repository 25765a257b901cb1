#include "fault.hpp"

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>

namespace harness {

namespace {

bool counting = false;
bool answering = false;
std::vector<Kind> kinds_seen;
std::string struck;

bool is_among(Way way, const std::vector<Way>& ways) {
  return std::find(ways.begin(), ways.end(), way) != ways.end();
}

off_t place_in(int fd) {
  return static_cast<off_t>(syscall(SYS_lseek, fd, 0, SEEK_CUR));
}

void lose_power() {
  kill(getpid(), SIGKILL);
}

}  // namespace

const std::vector<Way>& faults_of(Kind kind) {
  static const std::vector<Way> command = {Way::fails, Way::no_shell, Way::killed};
  static const std::vector<Way> read = {Way::fails, Way::one_byte};
  static const std::vector<Way> write = {Way::fails, Way::one_byte, Way::all_but_one, Way::nothing};
  static const std::vector<Way> other = {Way::fails};
  switch (kind) {
    case Kind::command:
      return command;
    case Kind::read:
      return read;
    case Kind::write:
      return write;
    case Kind::other:
      break;
  }
  return other;
}

const std::vector<Kind>& operations() {
  return kinds_seen;
}
const std::string& met() {
  return struck;
}

void start_counting_operations() {
  kinds_seen.clear();
  struck.clear();
  counting = true;
}

void stop_counting_operations() {
  counting = false;
}

bool goes_wrong(const std::string& operation, Kind kind, const std::vector<Way>& cuts) {
  if (!counting || answering) {
    return false;
  }
  kinds_seen.push_back(kind);
  if (static_cast<int>(kinds_seen.size()) != world.fault.nth) {
    return false;
  }
  struck = operation;
  const Way way = world.fault.way;
  if (way == Way::power_fails_before) {
    lose_power();
  }
  return is_among(way, faults_of(kind)) || is_among(way, cuts);
}

bool breaks(const char* operation, int error) {
  const bool wrong = goes_wrong(operation, Kind::other);
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
  if (world.fault.way == Way::no_shell) {
    return -1;
  }
  answering = true;
  world.half_run(command);
  answering = false;
  if (world.fault.way == Way::power_fails_half_way) {
    lose_power();
  }
  return world.fault.way == Way::fails ? exited(1) : killed_by(SIGKILL);
}

ssize_t read_badly(int fd, void* buffer) {
  if (world.fault.way == Way::fails) {
    errno = EIO;
    return -1;
  }
  return syscall(SYS_read, fd, buffer, size_t{1});
}

ssize_t write_badly(int fd, const void* buffer, size_t size) {
  switch (world.fault.way) {
    case Way::fails:
      errno = ENOSPC;
      return -1;
    case Way::one_byte:
      return syscall(SYS_write, fd, buffer, size_t{1});
    case Way::all_but_one:
      return syscall(SYS_write, fd, buffer, size - 1);
    case Way::power_fails_half_way:
      syscall(SYS_write, fd, buffer, size / 2);
      lose_power();
      break;
    case Way::power_fails_at_a_place:
      syscall(SYS_write, fd, buffer, static_cast<size_t>(world.fault.cut_at - place_in(fd)));
      lose_power();
      break;
    default:
      break;
  }
  return 0;
}

std::vector<Way> cuts_of_write(int fd, size_t size) {
  const off_t here = place_in(fd);
  const bool inside =
      world.fault.cut_at > here && world.fault.cut_at < here + static_cast<off_t>(size);
  return inside ? std::vector<Way>{Way::power_fails_half_way, Way::power_fails_at_a_place}
                : std::vector<Way>{Way::power_fails_half_way};
}

std::vector<Way> cuts_of_command(const std::string& command) {
  const bool writes = command.find('>') != std::string::npos;
  return writes ? std::vector<Way>{Way::power_fails_half_way} : std::vector<Way>{};
}

}  // namespace harness
