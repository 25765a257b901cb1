/* The connections that stand: how many, whose, and for how long they have been silent. */
#pragma once

#include <microhttpd.h>

#include <cstdint>
#include <list>
#include <string>

namespace console {

inline constexpr unsigned most_connections = 32;
inline constexpr unsigned most_connections_of_a_client = 6;
/* Some more are let in, so that they can be told to come back. */
inline constexpr unsigned spare_connections = 8;
inline constexpr unsigned spare_connections_of_a_client = 2;

enum class Phase : std::uint8_t {
  idle,      /* before a request, or between two */
  receiving, /* its first line has come */
  handling,  /* it is whole */
  sending,
  streaming, /* events, for as long as both want */
};

struct Connection {
  MHD_Connection* handle = nullptr;
  int fd = -1;
  std::string client;  /* who counts as one */
  std::string address; /* the client's own */
  std::string local_address;
  Phase phase = Phase::idle;
  std::int64_t since = 0; /* seconds: begin of the phase */
  bool is_too_many = false;
  bool is_cut = false;
};

class Connections {
 public:
  /* `request_seconds` is how long a request may take to arrive, and a connection without one may
   stand. */
  explicit Connections(int request_seconds) : request_seconds_(request_seconds) {}

  /* Whether a new connection of this address may be accepted at all. */
  [[nodiscard]] bool has_room_for(const std::string& client) const;
  Connection& add(MHD_Connection* handle, std::int64_t now);
  void remove(Connection& connection);
  /* Ends connections that send a request or read its answer too slowly. */
  void end_slow(std::int64_t now);

 private:
  [[nodiscard]] unsigned count_of(const std::string& client) const;
  [[nodiscard]] std::int64_t limit_of(const Connection& connection) const;

  std::int64_t request_seconds_;
  std::list<Connection> all_;
};

}  // namespace console
