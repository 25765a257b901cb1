#include "console/server/listener.hpp"

#include <arpa/inet.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace console {

namespace {

constexpr int first_handed_over = 3;

[[noreturn]] void fail(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

/* As sd_listen_fds(3) has it: the process that is meant, and one socket. */
int handed_over() {
  const char* pid = getenv("LISTEN_PID");
  const char* count = getenv("LISTEN_FDS");
  if (count == nullptr || (pid != nullptr && std::strtol(pid, nullptr, 10) != getpid())) {
    return -1;
  }
  if (std::string(count) != "1") {
    throw std::runtime_error("LISTEN_FDS: exactly one socket is wanted");
  }
  int is_listening = 0;
  socklen_t size = sizeof is_listening;
  if (getsockopt(first_handed_over, SOL_SOCKET, SO_ACCEPTCONN, &is_listening, &size) != 0 ||
      is_listening == 0) {
    throw std::runtime_error("LISTEN_FDS: descriptor 3 is no listening socket");
  }
  return first_handed_over;
}

/* The first IPv4 address of an interface, or the text itself. */
std::string address_of(const std::string& place) {
  ifaddrs* all = nullptr;
  std::string found = place;
  if (getifaddrs(&all) != 0) {
    fail("getifaddrs");
  }
  for (const ifaddrs* one = all; one != nullptr; one = one->ifa_next) {
    if (one->ifa_addr != nullptr && one->ifa_addr->sa_family == AF_INET && place == one->ifa_name) {
      found = text_of_address(one->ifa_addr);
      break;
    }
  }
  freeifaddrs(all);
  return found;
}

struct Place {
  std::string host;
  int port = 0;
};

Place split(const std::string& place) {
  const std::size_t colon = place.rfind(':');
  Place parts{place.substr(0, colon), 0};
  if (colon != std::string::npos) {
    char* end = nullptr;
    parts.port = static_cast<int>(std::strtol(place.c_str() + colon + 1, &end, 10));
    parts.port = *end == '\0' ? parts.port : 0;
  }
  if (parts.port < 1 || parts.port > 65535) {
    throw std::runtime_error("--listen: \"" + place + "\" is no PLACE:PORT");
  }
  if (parts.host.size() > 2 && parts.host.front() == '[' && parts.host.back() == ']') {
    parts.host = parts.host.substr(1, parts.host.size() - 2);
  }
  return parts;
}

int open_socket(const std::string& place) {
  const Place parts = split(place);
  const std::string host = address_of(parts.host);
  sockaddr_in6 six{};
  sockaddr_in four{};
  const bool is_four = inet_pton(AF_INET, host.c_str(), &four.sin_addr) == 1;
  if (!is_four && inet_pton(AF_INET6, host.c_str(), &six.sin6_addr) != 1) {
    throw std::runtime_error("--listen: \"" + parts.host +
                             "\" is no address, and no interface with an IPv4 address");
  }
  four.sin_family = AF_INET;
  six.sin6_family = AF_INET6;
  four.sin_port = six.sin6_port = htons(static_cast<std::uint16_t>(parts.port));
  const int fd = socket(is_four ? AF_INET : AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int on = 1;
  if (fd == -1 || setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
      bind(fd, is_four ? reinterpret_cast<sockaddr*>(&four) : reinterpret_cast<sockaddr*>(&six),
           is_four ? sizeof four : sizeof six) != 0 ||
      listen(fd, 64) != 0) {
    fail("--listen: " + place);
  }
  return fd;
}

}  // namespace

std::string text_of_address(const void* address) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  if (static_cast<const sockaddr*>(address)->sa_family == AF_INET) {
    inet_ntop(AF_INET, &static_cast<const sockaddr_in*>(address)->sin_addr, text.data(),
              text.size());
    return text.data();
  }
  const in6_addr& six = static_cast<const sockaddr_in6*>(address)->sin6_addr;
  if (IN6_IS_ADDR_V4MAPPED(&six)) {
    inet_ntop(AF_INET, &six.s6_addr[12], text.data(), text.size());
  } else {
    inet_ntop(AF_INET6, &six, text.data(), text.size());
  }
  return text.data();
}

std::string client_of_address(const void* address) {
  if (static_cast<const sockaddr*>(address)->sa_family == AF_INET6) {
    sockaddr_in6 network = *static_cast<const sockaddr_in6*>(address);
    if (!IN6_IS_ADDR_V4MAPPED(&network.sin6_addr)) {
      std::memset(&network.sin6_addr.s6_addr[8], 0, 8);
    }
    return text_of_address(&network);
  }
  return text_of_address(address);
}

Listener open_listener(const std::string& place) {
  Listener listener;
  listener.fd = handed_over();
  if (listener.fd == -1) {
    listener.fd = open_socket(place);
  }
  fcntl(listener.fd, F_SETFL, fcntl(listener.fd, F_GETFL) | O_NONBLOCK);
  fcntl(listener.fd, F_SETFD, FD_CLOEXEC);
  sockaddr_storage own{};
  socklen_t size = sizeof own;
  if (getsockname(listener.fd, reinterpret_cast<sockaddr*>(&own), &size) != 0) {
    fail("getsockname");
  }
  listener.port = ntohs(own.ss_family == AF_INET ? reinterpret_cast<sockaddr_in&>(own).sin_port
                                                 : reinterpret_cast<sockaddr_in6&>(own).sin6_port);
  const std::string address = text_of_address(&own);
  listener.address = address == "0.0.0.0" || address == "::" ? "" : address;
  return listener;
}

}  // namespace console
