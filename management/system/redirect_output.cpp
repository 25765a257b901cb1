#include "management/system/redirect_output.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

namespace management {

namespace {

/* Writes out what is buffered, so that it goes where standard output led until now. */
void flush_output() {
  std::cout.flush();
  std::fflush(stdout);
}

/* Makes `fd` what `saved` was; a descriptor that was closed before is closed again. */
void restore_descriptor(int saved, int fd) {
  if (saved == -1) {
    close(fd);
    return;
  }
  dup2(saved, fd);
  close(saved);
}

}  // namespace

StdoutToStderr::StdoutToStderr() : stdout_(-1) {
  flush_output();
  stdout_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  dup2(STDERR_FILENO, STDOUT_FILENO);
}

StdoutToStderr::~StdoutToStderr() {
  std::fflush(stdout);
  restore_descriptor(stdout_, STDOUT_FILENO);
}

DiscardOutput::DiscardOutput()
    : stdout_(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3)),
      stderr_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
  flush_output();
  const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
  dup2(null, STDOUT_FILENO);
  dup2(null, STDERR_FILENO);
  close(null);
}

DiscardOutput::~DiscardOutput() {
  std::fflush(stdout);
  restore_descriptor(stdout_, STDOUT_FILENO);
  restore_descriptor(stderr_, STDERR_FILENO);
}

}  // namespace management
