#include <arpa/inet.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <map>
#include <set>

#include "fault.hpp"
#include "harness.hpp"
#include "recorder.hpp"

namespace harness {
namespace {

std::map<FileCall, int> calls;
std::set<int> opened;

const FileFault* next_fault(FileCall call) {
  if (!recording()) {
    return nullptr;
  }
  const int nth = ++calls[call];
  for (const FileFault& fault : world.file_faults) {
    if (fault.call == call && fault.nth == nth) {
      return &fault;
    }
  }
  return nullptr;
}

/* Whether the call is to fail now; sets errno. */
bool fails(const FileFault* fault) {
  if (fault == nullptr || fault->error == 0) {
    return false;
  }
  if (fault->error != sets_no_errno) {
    errno = fault->error;
  }
  return true;
}

size_t allowed(const FileFault* fault, size_t wanted) {
  return fault == nullptr ? wanted : static_cast<size_t>(fault->count);
}

}  // namespace

void start_counting_file_calls() {
  calls.clear();
  opened.clear();
}

int file_calls(FileCall call) {
  return calls[call];
}
int open_descriptors() {
  return static_cast<int>(opened.size());
}

}  // namespace harness

using namespace harness;

extern "C" {

int system(const char* command) {
  if (recording()) {
    add_event("run " + printable(command));
  }
  return goes_wrong("run " + std::string(command), Kind::command, cuts_of_command(command))
             ? run_badly(command)
             : answer(command);
}

int access(const char* path, int mode) {
  return breaks("access", EIO) || fails(next_fault(FileCall::access))
             ? -1
             : static_cast<int>(syscall(SYS_faccessat, AT_FDCWD, path, mode));
}

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  if (breaks("open", EMFILE) || fails(next_fault(FileCall::open))) {
    return -1;
  }
  const int fd = static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
  if (recording() && fd != -1) {
    opened.insert(fd);
  }
  return fd;
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
  return breaks("lseek", EINVAL) || fails(next_fault(FileCall::lseek))
             ? -1
             : static_cast<off_t>(syscall(SYS_lseek, fd, offset, whence));
}

ssize_t read(int fd, void* buffer, size_t size) {
  if (goes_wrong("read " + std::to_string(size), Kind::read)) {
    return read_badly(fd, buffer);
  }
  const FileFault* fault = next_fault(FileCall::read);
  return fails(fault) ? -1 : syscall(SYS_read, fd, buffer, allowed(fault, size));
}

ssize_t write(int fd, const void* buffer, size_t size) {
  if (goes_wrong("write " + std::to_string(size), Kind::write, cuts_of_write(fd, size))) {
    return write_badly(fd, buffer, size);
  }
  const FileFault* fault = next_fault(FileCall::write);
  return fails(fault) ? -1 : syscall(SYS_write, fd, buffer, allowed(fault, size));
}

int close(int fd) {
  if (breaks("close", EIO) || fails(next_fault(FileCall::close))) {
    return -1;
  }
  opened.erase(fd);
  return static_cast<int>(syscall(SYS_close, fd));
}

int inet_pton(int family, const char* text, void* address) noexcept {
  if (recording() && !world.inet_pton_results.empty()) {
    const int result = world.inet_pton_results.front();
    world.inet_pton_results.erase(world.inet_pton_results.begin());
    return result;
  }
  using Real = int (*)(int, const char*, void*);
  static const auto real = reinterpret_cast<Real>(dlsym(RTLD_NEXT, "inet_pton"));
  return real(family, text, address);
}

const char* inet_ntop(int family, const void* address, char* text, socklen_t size) noexcept {
  if (recording() && world.inet_ntop_fails) {
    return nullptr;
  }
  using Real = const char* (*)(int, const void*, char*, socklen_t);
  static const auto real = reinterpret_cast<Real>(dlsym(RTLD_NEXT, "inet_ntop"));
  return real(family, address, text, size);
}

}  // extern "C"
