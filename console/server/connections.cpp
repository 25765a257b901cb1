#include "console/server/connections.hpp"

#include <gnutls/gnutls.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <string_view>

#include "console/server/listener.hpp"

namespace console {

namespace {

/* An answer may take so many times as long as a request. */
constexpr std::int64_t answer_factor = 3;
/* Whoever is one too many has this part of the time to ask and be told so. */
constexpr std::int64_t part_of_too_many = 5;
/* A listener whose machine is gone is noticed within so many milliseconds. */
constexpr unsigned longest_unacknowledged = 45000;

constexpr std::string_view too_slow =
    "HTTP/1.1 408 Request Timeout\r\nContent-Type: application/problem+json\r\nConnection: "
    "close\r\n"
    "Content-Length: 124\r\n\r\n"
    "{\"type\":\"urn:l3-advance:problem:request_timeout\",\"status\":408,\"code\":\"request_"
    "timeout\","
    "\"detail\":\"the request took too long\"}";
static_assert(too_slow.size() - too_slow.find("\r\n\r\n") - 4 == 124);

std::string local_address_of(int fd) {
  sockaddr_storage own{};
  socklen_t size = sizeof own;
  const bool is_known = getsockname(fd, reinterpret_cast<sockaddr*>(&own), &size) == 0;
  return is_known ? text_of_address(&own) : std::string();
}

/* In the middle of a request the HTTP library has no answer: this one goes past it. */
void send_too_slow(const Connection& connection) {
  const auto* tls = MHD_get_connection_info(connection.handle, MHD_CONNECTION_INFO_GNUTLS_SESSION);
  if (tls != nullptr && tls->tls_session != nullptr) {
    gnutls_record_send(static_cast<gnutls_session_t>(tls->tls_session), too_slow.data(),
                       too_slow.size());
  } else {
    send(connection.fd, too_slow.data(), too_slow.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  }
}

}  // namespace

bool Connections::has_room_for(const std::string& client) const {
  return count_of(client) < most_connections_of_a_client + spare_connections_of_a_client;
}

Connection& Connections::add(MHD_Connection* handle, std::int64_t now) {
  const auto* address = MHD_get_connection_info(handle, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
  Connection& added = all_.emplace_back();
  added.handle = handle;
  added.fd = MHD_get_connection_info(handle, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
  added.client = client_of_address(address->client_addr);
  added.address = text_of_address(address->client_addr);
  added.local_address = local_address_of(added.fd);
  added.since = now;
  added.is_too_many =
      all_.size() > most_connections || count_of(added.client) > most_connections_of_a_client;
  setsockopt(added.fd, IPPROTO_TCP, TCP_USER_TIMEOUT, &longest_unacknowledged,
             sizeof longest_unacknowledged);
  return added;
}

void Connections::remove(Connection& connection) {
  all_.remove_if([&](const Connection& one) { return &one == &connection; });
}

void Connections::end_slow(std::int64_t now) {
  for (Connection& connection : all_) {
    if (connection.is_cut || now - connection.since < limit_of(connection)) {
      continue;
    }
    if (connection.phase == Phase::receiving) {
      send_too_slow(connection);
    }
    connection.is_cut = true;
    shutdown(connection.fd, SHUT_RDWR);
  }
}

std::int64_t Connections::limit_of(const Connection& connection) const {
  switch (connection.phase) {
    case Phase::idle:
      return connection.is_too_many ? (request_seconds_ + part_of_too_many - 1) / part_of_too_many
                                    : request_seconds_;
    case Phase::receiving:
      return request_seconds_;
    case Phase::sending:
      return answer_factor * request_seconds_;
    default:
      return INT64_MAX;
  }
}

unsigned Connections::count_of(const std::string& client) const {
  return static_cast<unsigned>(std::count_if(
      all_.begin(), all_.end(), [&](const Connection& one) { return one.client == client; }));
}

}  // namespace console
