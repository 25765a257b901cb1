#include "management/system/redirect_output.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <string>

#include "management/system/escape.hpp"

namespace management {

namespace {

/* A file in memory; -1 while no output is held. */
int held_output = -1;

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
  if (held_output == -1) {
    held_output = memfd_create("library output", MFD_CLOEXEC);
  }
}

void print_held_library_output() {
  if (held_output == -1) {
    return;
  }
  std::cerr << escape_lines(kept_text(held_output)) << std::flush;
  close(held_output);
  held_output = -1;
}

RedirectLibraryOutput::RedirectLibraryOutput()
    : stdout_(-1), kept_(held_output == -1 ? memfd_create("library output", MFD_CLOEXEC) : -1) {
  flush_output();
  stdout_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  const int into = kept_ == -1 ? held_output : kept_;
  dup2(into == -1 ? STDERR_FILENO : into, STDOUT_FILENO);
}

RedirectLibraryOutput::~RedirectLibraryOutput() {
  std::fflush(stdout);
  restore_descriptor(stdout_, STDOUT_FILENO);
  if (kept_ != -1) {
    std::cerr << escape_lines(kept_text(kept_)) << std::flush;
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
