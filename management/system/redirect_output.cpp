#include "management/system/redirect_output.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <string>
#include <utility>

#include "management/system/escape.hpp"

namespace management {

namespace {

bool is_held = false;
std::string held_lines;

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

/* All that was written into a memory file. */
std::string kept_text(int fd) {
  std::string text;
  char buffer[4096];
  for (ssize_t got = 0;
       (got = pread(fd, buffer, sizeof buffer, static_cast<off_t>(text.size()))) > 0;) {
    text.append(buffer, static_cast<size_t>(got));
  }
  return text;
}

}  // namespace

void hold_library_output() {
  is_held = true;
}

void print_held_library_output() {
  std::cerr << std::exchange(held_lines, {}) << std::flush;
}

RedirectLibraryOutput::RedirectLibraryOutput()
    : stdout_(-1), kept_(memfd_create("l3ctl", MFD_CLOEXEC)) {
  flush_output();
  stdout_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  dup2(kept_ == -1 ? STDERR_FILENO : kept_, STDOUT_FILENO);
}

RedirectLibraryOutput::~RedirectLibraryOutput() {
  std::fflush(stdout);
  restore_descriptor(stdout_, STDOUT_FILENO);
  if (kept_ != -1) {
    const std::string lines = escape_lines(kept_text(kept_));
    if (is_held) {
      held_lines += lines;
    } else {
      std::cerr << lines << std::flush;
    }
    close(kept_);
  }
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
