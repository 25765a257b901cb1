#include "management/system/lock.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>
#include <utility>

#include "management/error.hpp"
#include "management/remedy.hpp"

namespace management {

namespace {

constexpr char lock_path[] = "/run/l3ctl.lock";

}  // namespace

Lock::Lock(const Options& options) : file_(open(lock_path, O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
  if (file_ == -1) {
    const char* advice = errno == EACCES || errno == EPERM ? "; changing settings takes root" : "";
    throw Error(std::string("cannot open ") + lock_path + ": " + std::strerror(errno) + advice);
  }
  take(LOCK_EX, options.lock_timeout);
}

Lock Lock::shared(const Options& options) {
  Lock lock(open(lock_path, O_RDONLY | O_CLOEXEC));
  if (lock.file_ != -1) {
    lock.take(LOCK_SH, options.lock_timeout);
  }
  return lock;
}

Lock::Lock(Lock&& other) noexcept : file_(std::exchange(other.file_, -1)) {}

Lock::~Lock() {
  if (file_ != -1) {
    close(file_);
  }
}

void Lock::release() {
  if (file_ != -1) {
    flock(file_, LOCK_UN);
    close(std::exchange(file_, -1));
  }
}

void Lock::take(int operation, int seconds) {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + std::chrono::seconds(seconds);
  for (bool told = false; flock(file_, operation | LOCK_NB) != 0; told = true) {
    const int error = errno;
    if (error != EWOULDBLOCK || Clock::now() >= deadline) {
      throw Error(
          std::string("cannot lock ") + lock_path + ": " +
              (error == EWOULDBLOCK ? worded({Remedy::Kind::wait_longer}) : std::strerror(error)),
          error == EWOULDBLOCK ? ErrorKind::busy : ErrorKind::system);
    }
    if (!told) {
      notify("waiting for another l3ctl");
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
}

}  // namespace management
