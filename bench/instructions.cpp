/*
 * Runs every case under callgrind, with commands that do nothing: what is left is the library and
 * the libc that it uses. Leaves one profile a case, first with the log off, then with it on, and
 * prints what each case did:
 *
 *     ip_filter 50<TAB>53 commands<TAB>6 file calls
 */
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <valgrind/callgrind.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "cases.hpp"
#include "l3_advance/shell_command.h"
#include "platform.hpp"

namespace {

int commands = 0;
int file_calls = 0;

void measure(const bench::Case& one, const char* log) {
  one.before();
  commands = 0;
  file_calls = 0;
  CALLGRIND_TOGGLE_COLLECT;
  const int32_t result = one.call();
  CALLGRIND_TOGGLE_COLLECT;
  const std::string title = one.name + log;
  CALLGRIND_DUMP_STATS_AT(title.c_str());
  if (result != 0) {
    fprintf(stderr, "%s: the call returned %d\n", title.c_str(), result);
    exit(1);
  }
  fprintf(stderr, "%s\t%d commands\t%d file calls\n", title.c_str(), commands, file_calls);
}

}  // namespace

extern "C" {

int system(const char* /*command*/) {
  ++commands;
  return 0;
}

// The library's file calls, counted on their way to the kernel.

int access(const char* path, int mode) noexcept {
  ++file_calls;
  return static_cast<int>(syscall(SYS_faccessat, AT_FDCWD, path, mode));
}

int open(const char* path, int flags, ...) {
  ++file_calls;
  va_list arguments;
  va_start(arguments, flags);
  const unsigned mode = (flags & O_CREAT) != 0 ? va_arg(arguments, unsigned) : 0;
  va_end(arguments);
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
  ++file_calls;
  return syscall(SYS_lseek, fd, offset, whence);
}

ssize_t read(int fd, void* buffer, size_t size) {
  ++file_calls;
  return syscall(SYS_read, fd, buffer, size);
}

ssize_t write(int fd, const void* buffer, size_t size) {
  ++file_calls;
  return syscall(SYS_write, fd, buffer, size);
}

int close(int fd) {
  ++file_calls;
  return static_cast<int>(syscall(SYS_close, fd));
}

}  // extern "C"

int main() {
  str_system(":");
  if (commands != 1) {
    fprintf(stderr, "the library does not run this program's system()\n");
    return 1;
  }
  for (const bool log : {false, true}) {
    bench::log_on(log);
    for (const bench::Case& one : bench::cases()) {
      measure(one, log ? ", log on" : "");
    }
  }
  return 0;
}
