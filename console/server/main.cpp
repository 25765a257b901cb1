/* l3-console: prepares as root what the server needs, starts the broker, gives up all rights, and
 serves. */
#include <fcntl.h>
#include <gnutls/gnutls.h>
#include <ifaddrs.h>
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "console/server/broker_link.hpp"
#include "console/server/certificate.hpp"
#include "console/server/console.hpp"
#include "console/server/front.hpp"
#include "console/server/listener.hpp"
#include "console/server/log.hpp"
#include "console/server/options.hpp"
#include "console/server/passwords.hpp"
#include "console/server/privileges.hpp"
#include "console/server/secrets.hpp"
#include "console/server/state_file.hpp"

namespace console {

namespace {

/* A change that runs is waited for at the end; the broker gives it 30 s. */
constexpr std::int64_t longest_end = 35;

void print_routes() {
  for (const Route& route : routes()) {
    std::printf("%s %s\n", std::string(route.method).c_str(), std::string(route.path).c_str());
  }
}

/* Tokens are dropped with the password: a reset may follow their theft. */
int make_first_password(StateStore& store) {
  const std::string password = random_password();
  if (!store.write({hash_password(password), true, {}})) {
    throw std::runtime_error("the password could not be stored");
  }
  std::printf("First password, to be changed at the first log-in: %s\n", password.c_str());
  return std::fflush(stdout) == 0 ? 0 : 1;
}

/* Under which names the certificate is good. */
std::vector<std::string> names_for_certificate(const Options& options, const Listener& listener) {
  std::vector<std::string> names = options.names;
  ifaddrs* all = nullptr;
  if (listener.address.empty() && getifaddrs(&all) == 0) {
    for (const ifaddrs* one = all; one != nullptr && names.size() < 16; one = one->ifa_next) {
      if (one->ifa_addr != nullptr && one->ifa_addr->sa_family == AF_INET) {
        names.push_back(text_of_address(one->ifa_addr));
      }
    }
    freeifaddrs(all);
  } else if (!listener.address.empty()) {
    names.push_back(listener.address);
  }
  if (starts_with(listener.address, "127.")) {
    names.emplace_back("localhost");
  }
  return names;
}

/* The broker keeps root's rights; its socket is its standard input. Returns ours. */
int start_broker(const Options& options) {
  std::array<int, 2> fds{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds.data()) != 0) {
    throw std::runtime_error("socketpair");
  }
  if (access(options.broker.c_str(), X_OK) != 0) {
    throw std::runtime_error(options.broker + ": " + std::strerror(errno));
  }
  const pid_t pid = fork();
  if (pid == -1) {
    throw std::runtime_error("fork");
  }
  if (pid == 0) {
    setpgid(0, 0);
    dup2(fds[1], STDIN_FILENO);
    execl(options.broker.c_str(), options.broker.c_str(), options.l3ctl.c_str(),
          std::to_string(options.l3ctl_seconds).c_str(), nullptr);
    _exit(127);
  }
  close(fds[1]);
  return fds[0];
}

/* Readable when the program shall end. */
int signals_fd() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  signal(SIGPIPE, SIG_IGN);
  signal(SIGCHLD, SIG_IGN);
  return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

/* Serves until a signal comes or the broker is gone. Returns the exit status. */
int serve(Front& front, BrokerLink& link, int signals) {
  std::int64_t last_tick = 0;
  std::int64_t end = 0; /* when to end at the latest; 0: not at all */
  while (end == 0 || (seconds_now() < end && !link.is_idle())) {
    std::array<pollfd, 3> events = {{{front.fd(), POLLIN, 0},
                                     {link.fd(), link.events(), 0},
                                     {end == 0 ? signals : -1, POLLIN, 0}}};
    poll(events.data(), events.size(), front.timeout());
    link.serve();
    front.run();
    // What the front has asked for goes out without waiting.
    link.serve();
    if (seconds_now() != last_tick) {
      last_tick = seconds_now();
      front.tick();
    }
    if (events[2].revents != 0 && end == 0) {
      end = seconds_now() + longest_end;
    }
    if (link.is_gone()) {
      break;
    }
  }
  if (!link.is_gone()) {
    return 0;
  }
  log_event("the broker is gone, and the server ends with it", "");
  for (const std::int64_t until = seconds_now() + 2; seconds_now() < until;) {
    pollfd event{front.fd(), POLLIN, 0};
    poll(&event, 1, 100);
    link.serve();
    front.run();
  }
  return 1;
}

int run(const Options& options) {
  umask(077);
  if (mkdir(options.state.c_str(), 0700) != 0 && errno != EEXIST) {
    throw std::runtime_error(options.state + ": " + std::strerror(errno));
  }
  StateFile store(options.state + "/state");
  if (options.first_password) {
    return make_first_password(store);
  }
  const Listener listener = open_listener(options.listen);
  Certificate certificate;
  if (!options.is_plain) {
    certificate = load_or_make_certificate(options.state, names_for_certificate(options, listener));
  }
  OurNames names{{}, listener.port, !options.is_plain};
  for (const std::string& name : options.names) {
    names.names.push_back(lower_case(name));
  }
  const int signals = signals_fd();
  Console console(names, store);
  BrokerLink link(start_broker(options));
  Front front(console, link, options.request_seconds);
  front.start(listener.fd, options.is_plain ? nullptr : &certificate);
  drop_privileges(options.user, options.root);
  restrict_system_calls();
  log_event("listens at " + listener.address + ":" + std::to_string(listener.port), "");
  return serve(front, link, signals);
}

}  // namespace

}  // namespace console

int main(int argc, char** argv) {
  const console::Options options = console::parse_options(argc, argv);
  if (options.routes) {
    console::print_routes();
    return 0;
  }
  try {
    return console::run(options);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "l3-console: %s\n", error.what());
    return 1;
  }
}
