/* One run of l3ctl: input in, output and errors out, with bounds of size and time. */
#pragma once

#include <poll.h>
#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "console/broker/protocol.hpp"

namespace console {

/* Milliseconds of a clock that no one sets. */
std::int64_t milliseconds_now();

/* A descriptor that is closed with its owner. */
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept;
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { close(); }

  [[nodiscard]] int get() const { return fd_; }
  int release();
  void close();

 private:
  int fd_;
};

class Child {
 public:
  /* Starts `words` for a call, in a process group of its own. */
  Child(const NumberedCall& numbered, const std::vector<std::string>& words, int seconds);
  Child(Child&&) = default;
  Child& operator=(Child&&) = default;

  /* What to wait for; always four entries. */
  void add_events(std::vector<pollfd>& events) const;
  /* Moves bytes, and ends the process after its time. `events` are the four that add_events()
   added. */
  void serve(const pollfd* events);

  [[nodiscard]] bool has_ended() const { return has_ended_; }
  [[nodiscard]] std::int64_t deadline() const { return deadline_; }
  Answer take_answer() { return std::move(answer_); }

 private:
  void write_input();
  void read_into(Descriptor& from, std::string& text, std::size_t most);
  void reap();
  void end_early(Outcome outcome);

  Answer answer_;
  std::string input_;
  std::size_t written_ = 0;
  std::int64_t deadline_ = 0;
  pid_t pid_ = -1;
  bool has_ended_ = false;
  Descriptor process_; /* readable when the process has ended */
  Descriptor in_;
  Descriptor out_;
  Descriptor err_;
};

}  // namespace console
