/* l3-console-broker: runs l3ctl as root for the console's server, which has no rights, as the table
 * of operations allows and not otherwise.
 *
 *   l3-console-broker L3CTL [SECONDS-OF-A-READ]     with the server's socket as standard input
 *
 * Ends when the server is gone and what it asked for has been done. */
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <list>
#include <string>
#include <vector>

#include "console/broker/child.hpp"
#include "console/broker/operations.hpp"
#include "console/broker/protocol.hpp"

namespace console {

namespace {

constexpr int server = STDIN_FILENO;
/* The server keeps to fewer; more calls wait in the socket. */
constexpr std::size_t most_children = 4;

class Broker {
 public:
  Broker(std::string l3ctl, int seconds_of_a_read)
      : l3ctl_(std::move(l3ctl)), seconds_of_a_read_(seconds_of_a_read) {}

  /* Serves one round of events; false when all is done. */
  bool serve();

 private:
  void receive();
  void begin(const NumberedCall& numbered);
  void answer(const Answer& answer);
  void send();
  int timeout() const;

  std::string l3ctl_;
  int seconds_of_a_read_;
  CallFrames calls_;
  std::list<Child> children_;
  std::string unsent_;
  bool is_server_gone_ = false;
};

int Broker::timeout() const {
  std::int64_t first = -1;
  for (const Child& child : children_) {
    const std::int64_t left = std::max<std::int64_t>(0, child.deadline() - milliseconds_now());
    first = first == -1 ? left : std::min(first, left);
  }
  return static_cast<int>(first);
}

bool Broker::serve() {
  const bool has_room = children_.size() < most_children && unsent_.size() < largest_output;
  const auto wanted = (has_room ? POLLIN : 0) | (unsent_.empty() ? 0 : POLLOUT);
  std::vector<pollfd> events{{is_server_gone_ ? -1 : server, static_cast<short>(wanted), 0}};
  for (const Child& child : children_) {
    child.add_events(events);
  }
  if (poll(events.data(), events.size(), timeout()) == -1 && errno != EINTR) {
    return false;
  }
  const pollfd* of_child = &events[1];
  for (Child& child : children_) {
    child.serve(of_child);
    of_child += 4;
    if (child.has_ended()) {
      answer(child.take_answer());
    }
  }
  children_.remove_if([](const Child& child) { return child.has_ended(); });
  if ((events[0].revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
    receive();
  }
  send();
  return !is_server_gone_ || !children_.empty();
}

void Broker::receive() {
  std::array<char, 65536> bytes;
  const ssize_t count = recv(server, bytes.data(), bytes.size(), MSG_DONTWAIT);
  if (count > 0) {
    calls_.add(bytes.data(), static_cast<std::size_t>(count));
  } else if (count == 0 || (errno != EAGAIN && errno != EINTR)) {
    is_server_gone_ = true;
  }
  while (const auto call = calls_.next()) {
    begin(*call);
  }
  is_server_gone_ = is_server_gone_ || calls_.is_broken();
}

void Broker::begin(const NumberedCall& numbered) {
  auto words = command_line(numbered.call);
  if (!words || children_.size() >= 2 * most_children) {
    answer({numbered.id, Outcome::refused, 0, {}, {}});
    return;
  }
  const OperationRow* row = find_operation(static_cast<std::uint16_t>(numbered.call.operation));
  words->insert(words->begin(), l3ctl_);
  children_.emplace_back(numbered, *words, seconds_for(*row, seconds_of_a_read_));
  if (children_.back().has_ended()) {
    answer(children_.back().take_answer());
    children_.pop_back();
  }
}

void Broker::answer(const Answer& answer) {
  unsent_ += frame_of(answer);
}

void Broker::send() {
  while (!unsent_.empty() && !is_server_gone_) {
    const ssize_t count =
        ::send(server, unsent_.data(), unsent_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count == -1) {
      is_server_gone_ = errno != EAGAIN && errno != EINTR;
      return;
    }
    unsent_.erase(0, static_cast<std::size_t>(count));
  }
}

/* Of the environment l3ctl needs the way to its tools. */
void clear_environment() {
  const char* path = getenv("PATH");
  const std::string kept = path == nullptr ? "/usr/sbin:/usr/bin:/sbin:/bin" : path;
  clearenv();
  setenv("PATH", kept.c_str(), 1);
  setenv("LC_ALL", "C", 1);
}

}  // namespace

}  // namespace console

int main(int argc, char** argv) {
  const long seconds =
      argc == 3 ? std::strtol(argv[2], nullptr, 10) : console::usual_seconds_of_a_read;
  if (argc < 2 || argc > 3 || argv[1][0] != '/' || seconds < 1 || seconds > 60) {
    std::fputs("usage: l3-console-broker L3CTL [SECONDS-OF-A-READ]; L3CTL is an absolute path\n",
               stderr);
    return 2;
  }
  const rlimit no_core{0, 0};
  setrlimit(RLIMIT_CORE, &no_core);
  // The service manager's signals are for the server; with its end the broker ends, after the
  // change that it makes.
  signal(SIGTERM, SIG_IGN);
  signal(SIGINT, SIG_IGN);
  signal(SIGHUP, SIG_IGN);
  signal(SIGPIPE, SIG_IGN);
  signal(SIGCHLD, SIG_DFL);
  console::clear_environment();
  console::Broker broker(argv[1], static_cast<int>(seconds));
  while (broker.serve()) {
  }
  return 0;
}
