/*
 * Interfaces and addresses: the Internet WAN is the interface of the IPv4 default route, the LAN's DHCP
 * server address is that of br0.
 */
#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <string_view>

#include "l3_advance/platform.h"
#include "platform/linux/platform_linux.hpp"

namespace {

constexpr std::int32_t error_level = 2;
constexpr std::int32_t debug_level = 4;
constexpr std::int32_t module = 2;
constexpr std::size_t name_size = 6;
constexpr std::size_t server_size = 48;

/* The interface of the default route with the lowest metric, as proc(5) lists the routing table in
 * /proc/net/route; empty when there is none. */
std::string default_route_interface() {
  constexpr unsigned long route_is_up = 0x1;
  std::ifstream routes("/proc/net/route");
  std::string line;
  std::string best;
  unsigned long best_metric = std::numeric_limits<unsigned long>::max();

  std::getline(routes, line);  // headings
  while (std::getline(routes, line)) {
    std::istringstream fields(line);
    std::string name;
    unsigned long destination = 1;
    unsigned long gateway = 0;
    unsigned long flags = 0;
    unsigned long references = 0;
    unsigned long uses = 0;
    unsigned long metric = 0;
    unsigned long mask = 1;
    fields >> name >> std::hex >> destination >> gateway >> flags >> std::dec >> references >>
        uses >> metric >> std::hex >> mask;
    const bool is_default = fields && destination == 0 && mask == 0 && (flags & route_is_up) != 0;
    if (is_default && metric < best_metric) {
      best = name;
      best_metric = metric;
    }
  }
  return best;
}

/* Letters, digits, "_", "." and "-", which does not lead. */
bool is_plain(std::string_view name) {
  constexpr std::string_view plain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_.-";
  return name.find_first_not_of(plain) == std::string_view::npos && !name.starts_with('-');
}

}  // namespace

namespace platform_linux {

std::string internet_wan_name() {
  const std::string name = default_route_interface();
  return is_plain(name) ? name : std::string();
}

}  // namespace platform_linux

extern "C" {

/* Limits: IPv4 routes of the main table only; the index is the kernel's interface index. */
int32_t grm_gl3_get_internet_index(void) {
  const std::string name = default_route_interface();
  const unsigned index = name.empty() ? 0 : if_nametoindex(name.c_str());
  return index == 0 ? -1 : static_cast<std::int32_t>(index);
}

/* Limits: a name of more than 5 characters does not fit the library's buffer and is not handed over; the
 * program reports it with gl3_l3ctl_update_firewall(), which takes it whole. Nor is a name that the shell
 * might take for more than a name: the library puts it into command lines. */
int32_t getIfName(int32_t index, char* name) {
  char found[IF_NAMESIZE] = {};
  if (index < 0 || if_indextoname(static_cast<unsigned>(index), found) == nullptr) {
    return -1;
  }
  if (std::strlen(found) >= name_size) {
    l3_log_print(debug_level, module,
                 "line[%d], interface name %s is longer than 5 characters and not handed over\n",
                 __LINE__, found);
    return -1;
  }
  if (!is_plain(found)) {
    l3_log_print(error_level, module, "line[%d], interface name [%s] is not used in a command\n",
                 __LINE__, found);
    return -1;
  }
  std::memcpy(name, found, std::strlen(found) + 1);
  return 0;
}

/* Limits: server 0 only, and of its parameters only the address. */
int32_t DhcpsParaServerGet(int32_t index, void* buffer) {
  std::memset(buffer, 0, server_size);
  if (index != 0) {
    return -1;
  }
  const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd == -1) {
    return -1;
  }
  ifreq request = {};
  std::strcpy(request.ifr_name, "br0");
  const int result = ioctl(fd, SIOCGIFADDR, &request);
  close(fd);
  if (result == -1) {
    return -1;
  }
  sockaddr_in address = {};
  std::memcpy(&address, &request.ifr_addr, sizeof(address));
  return inet_ntop(AF_INET, &address.sin_addr, static_cast<char*>(buffer), INET_ADDRSTRLEN) ==
                 nullptr
             ? -1
             : 0;
}

}  // extern "C"
