/* The HTTP library's side: connections in, requests to the console, responses and event streams
 * out. All of it happens in run(), in the only thread there is. */
#pragma once

#include <microhttpd.h>

#include <cstdint>
#include <list>
#include <map>
#include <string>

#include "console/server/broker_link.hpp"
#include "console/server/certificate.hpp"
#include "console/server/connections.hpp"
#include "console/server/console.hpp"
#include "console/server/events.hpp"

namespace console {

/* Seconds of a clock that no one sets. */
std::int64_t seconds_now();

class Front {
 public:
  Front(Console& console, BrokerLink& link, int request_seconds)
      : console_(&console), link_(&link), events_(link), connections_(request_seconds) {}
  Front(const Front&) = delete;
  Front& operator=(const Front&) = delete;
  ~Front();

  /* Listens; without a certificate it speaks plain HTTP. Throws std::runtime_error. */
  void start(int listener, const Certificate* certificate);

  /* What to wait for, and at most how many milliseconds. */
  [[nodiscard]] int fd() const { return poll_fd_; }
  [[nodiscard]] int timeout() const;
  void run();
  /* Once a second. */
  void tick();

 private:
  friend struct Callbacks;

  struct Exchange {
    std::uint64_t id = 0;
    Connection* connection = nullptr;
    Request request;
    Response response;
    bool is_begun = false;
    bool is_asked = false;
    bool is_ready = false;
    bool is_suspended = false;
  };
  struct Stream {
    Front* front = nullptr;
    MHD_Connection* handle = nullptr;
    EventStream of;
    std::string unsent;
    bool is_suspended = false;
    bool has_ended = false;
  };

  MHD_Result serve(Exchange& exchange, MHD_Connection* handle, const char* method, const char* data,
                   std::size_t* size);
  static Response early_refusal(const Exchange& exchange);
  void settle(std::uint64_t id, Response response);
  MHD_Result send(Exchange& exchange, MHD_Connection* handle);
  MHD_Response* stream_response(const Exchange& exchange, MHD_Connection* handle);
  ssize_t read_stream(Stream& stream, char* to, std::size_t most);
  void end_streams(std::int64_t now);
  bool has_place_for_stream();
  void wake_streams();
  static void resume(Stream& stream);

  Console* console_;
  BrokerLink* link_;
  Events events_;
  Connections connections_;
  MHD_Daemon* daemon_ = nullptr;
  int poll_fd_ = -1;
  std::uint64_t last_id_ = 0;
  std::map<std::uint64_t, Exchange*> exchanges_;
  std::list<Stream> streams_;
  std::uint64_t last_event_ = 0;
  std::int64_t next_heartbeat_ = 0;
};

}  // namespace console
