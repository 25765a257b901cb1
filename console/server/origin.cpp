#include "console/server/origin.hpp"

#include <arpa/inet.h>

#include <algorithm>
#include <array>

namespace console {

namespace {

/* An address as inet_ntop writes it, or nothing where it is none. */
std::string normal_address(int family, const std::string& text) {
  std::array<unsigned char, sizeof(in6_addr)> bytes{};
  std::array<char, INET6_ADDRSTRLEN> normal{};
  if (inet_pton(family, text.c_str(), bytes.data()) != 1 ||
      inet_ntop(family, bytes.data(), normal.data(), normal.size()) == nullptr) {
    return {};
  }
  return normal.data();
}

struct HostAndPort {
  std::string host;
  std::string port;
};

HostAndPort split(const std::string& text) {
  // "[fd00::1]:8443": the colons inside the brackets are the address's.
  const std::size_t bracket = text.rfind(']');
  const std::size_t colon = text.find(':', bracket == std::string::npos ? 0 : bracket);
  if (colon == std::string::npos) {
    return {text, {}};
  }
  return {text.substr(0, colon), text.substr(colon + 1)};
}

bool is_our_port(const std::string& port, const OurNames& ours) {
  const int usual = ours.is_encrypted ? 443 : 80;
  return port.empty() ? ours.port == usual : port == std::to_string(ours.port);
}

bool is_loopback(const std::string& address) {
  return starts_with(address, "127.") || address == "::1";
}

bool is_our_name(const std::string& host, const Request& request, const OurNames& ours) {
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
    return normal_address(AF_INET6, host.substr(1, host.size() - 2)) == request.local_address;
  }
  return (!request.local_address.empty() && host == request.local_address) ||
         (host == "localhost" && is_loopback(request.local_address)) ||
         std::find(ours.names.begin(), ours.names.end(), host) != ours.names.end();
}

}  // namespace

bool is_our_host(const Request& request, const OurNames& ours) {
  const std::string text = lower_case(header(request, "host"));
  const HostAndPort parts = split(text);
  return !parts.host.empty() && is_our_port(parts.port, ours) && (text.back() != ':') &&
         is_our_name(parts.host, request, ours);
}

bool is_same_origin(const Request& request, const OurNames& ours, bool is_needed) {
  const bool has_site = has_header(request, "sec-fetch-site");
  if (has_site && header(request, "sec-fetch-site") != "same-origin") {
    return false;
  }
  if (!has_header(request, "origin")) {
    return has_site || !is_needed;
  }
  const std::string scheme = ours.is_encrypted ? "https://" : "http://";
  return lower_case(header(request, "origin")) == scheme + lower_case(header(request, "host"));
}

}  // namespace console
