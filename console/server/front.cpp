#include "console/server/front.hpp"

#include <poll.h>
#include <time.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "console/server/listener.hpp"
#include "console/server/problem.hpp"

namespace console {

namespace {

constexpr std::size_t largest_body = std::size_t{256} * 1024;
constexpr std::size_t largest_headers = std::size_t{8} * 1024;
constexpr std::ptrdiff_t most_streams = 4;
constexpr std::int64_t heartbeat = 15;

MHD_Result add_header(void* to, enum MHD_ValueKind /*kind*/, const char* name, const char* value) {
  static_cast<Headers*>(to)->emplace_back(lower_case(name), value == nullptr ? "" : value);
  return MHD_YES;
}

std::size_t size_of(const Headers& headers) {
  std::size_t size = 0;
  for (const auto& [name, value] : headers) {
    size += name.size() + value.size() + std::strlen(": \r\n");
  }
  return size;
}

}  // namespace

std::int64_t seconds_now() {
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  return now.tv_sec;
}

/* What the HTTP library calls. */
struct Callbacks {
  static MHD_Result accept(void* front, const sockaddr* address, socklen_t /*size*/) {
    return static_cast<Front*>(front)->connections_.has_room_for(client_of_address(address))
               ? MHD_YES
               : MHD_NO;
  }

  static void connection(void* self, MHD_Connection* handle, void** context,
                         enum MHD_ConnectionNotificationCode code) {
    auto* front = static_cast<Front*>(self);
    if (code == MHD_CONNECTION_NOTIFY_STARTED) {
      *context = &front->connections_.add(handle, seconds_now());
    } else if (*context != nullptr) {
      front->connections_.remove(*static_cast<Connection*>(*context));
      *context = nullptr;
    }
  }

  static void* first_line(void* self, const char* uri, MHD_Connection* handle) {
    auto* front = static_cast<Front*>(self);
    auto* exchange = new Front::Exchange;
    exchange->id = ++front->last_id_;
    front->exchanges_[exchange->id] = exchange;
    const auto* info = MHD_get_connection_info(handle, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    exchange->connection = static_cast<Connection*>(info->socket_context);
    exchange->connection->phase = Phase::receiving;
    exchange->connection->since = seconds_now();
    // As it came: no path of ours needs an escape, and "%00" would hide what follows it.
    const std::size_t length = std::strcspn(uri, "?");
    exchange->request.path.assign(uri, length);
    exchange->request.query = uri[length] == '?' ? uri + length + 1 : "";
    return exchange;
  }

  static MHD_Result request(void* self, MHD_Connection* handle, const char* /*path*/,
                            const char* method, const char* /*version*/, const char* data,
                            std::size_t* size, void** exchange) {
    return static_cast<Front*>(self)->serve(*static_cast<Front::Exchange*>(*exchange), handle,
                                            method, data, size);
  }

  static void completed(void* self, MHD_Connection* /*handle*/, void** context,
                        enum MHD_RequestTerminationCode /*code*/) {
    auto* exchange = static_cast<Front::Exchange*>(*context);
    if (exchange != nullptr) {
      exchange->connection->phase = Phase::idle;
      exchange->connection->since = seconds_now();
      static_cast<Front*>(self)->exchanges_.erase(exchange->id);
      delete exchange;
      *context = nullptr;
    }
  }

  static ssize_t read(void* self, std::uint64_t /*position*/, char* to, std::size_t most) {
    auto* stream = static_cast<Front::Stream*>(self);
    return stream->front->read_stream(*stream, to, most);
  }

  static void close_stream(void* self) {
    auto* stream = static_cast<Front::Stream*>(self);
    stream->front->streams_.remove_if(
        [stream](const Front::Stream& one) { return &one == stream; });
  }
};

Front::~Front() {
  if (daemon_ == nullptr) {
    return;
  }
  for (const auto& [id, exchange] : exchanges_) {
    if (exchange->is_suspended) {
      MHD_resume_connection(exchange->connection->handle);
    }
  }
  for (Stream& stream : streams_) {
    stream.has_ended = true;
    resume(stream);
  }
  MHD_run(daemon_);
  MHD_stop_daemon(daemon_);
}

void Front::start(int listener, const Certificate* certificate) {
  unsigned flags = MHD_USE_EPOLL | MHD_ALLOW_SUSPEND_RESUME;
  flags |= certificate == nullptr ? unsigned{MHD_NO_FLAG} : unsigned{MHD_USE_TLS};
  std::vector<MHD_OptionItem> tls;
  if (certificate != nullptr) {
    tls = {{MHD_OPTION_HTTPS_MEM_KEY, 0, const_cast<char*>(certificate->key.c_str())},
           {MHD_OPTION_HTTPS_MEM_CERT, 0, const_cast<char*>(certificate->certificate.c_str())},
           {MHD_OPTION_HTTPS_PRIORITIES, 0,
            const_cast<char*>("NORMAL:-VERS-ALL:+VERS-TLS1.3:+VERS-TLS1.2")}};
  }
  tls.push_back({MHD_OPTION_END, 0, nullptr});
  daemon_ = MHD_start_daemon(
      flags, 0, Callbacks::accept, this, Callbacks::request, this, MHD_OPTION_LISTEN_SOCKET,
      listener, MHD_OPTION_CONNECTION_LIMIT, most_connections + spare_connections,
      MHD_OPTION_NOTIFY_CONNECTION, Callbacks::connection, this, MHD_OPTION_URI_LOG_CALLBACK,
      Callbacks::first_line, this, MHD_OPTION_NOTIFY_COMPLETED, Callbacks::completed, this,
      MHD_OPTION_STRICT_FOR_CLIENT, 1, MHD_OPTION_ARRAY, tls.data(), MHD_OPTION_END);
  if (daemon_ == nullptr) {
    throw std::runtime_error("the HTTP server could not be started");
  }
  poll_fd_ = MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd;
}

int Front::timeout() const {
  MHD_UNSIGNED_LONG_LONG milliseconds = 0;
  constexpr MHD_UNSIGNED_LONG_LONG second = 1000;
  return MHD_get_timeout(daemon_, &milliseconds) == MHD_YES
             ? static_cast<int>(std::min(milliseconds, second))
             : static_cast<int>(second);
}

void Front::run() {
  if (events_.last() != last_event_) {
    last_event_ = events_.last();
    wake_streams();
  }
  MHD_run(daemon_);
}

void Front::tick() {
  const std::int64_t now = seconds_now();
  connections_.end_slow(now);
  events_.tick(now, !streams_.empty());
  end_streams(now);
  if (now >= next_heartbeat_) {
    next_heartbeat_ = now + heartbeat;
    for (Stream& stream : streams_) {
      stream.unsent += stream.unsent.empty() ? ":\n\n" : "";
    }
    wake_streams();
  }
}

/* What is refused before its body is read. */
Response Front::early_refusal(const Exchange& exchange) {
  const Request& request = exchange.request;
  if (exchange.connection->is_too_many) {
    return problem_for_now(503, "too_many_connections", "there are too many connections", 5);
  }
  if (has_header(request, "transfer-encoding")) {
    return problem(411, "length_required", "a body needs a Content-Length");
  }
  if (std::strtoull(header(request, "content-length").c_str(), nullptr, 10) > largest_body) {
    return problem(413, "too_large", "a body has at most 256 KiB");
  }
  if (size_of(request.headers) > largest_headers) {
    return problem(431, "headers_too_large", "the headers have at most 8 KiB");
  }
  return {};
}

/* Called for the headers, for each piece of the body, at its end, and once more after the broker's
 answer. */
MHD_Result Front::serve(Exchange& exchange, MHD_Connection* handle, const char* method,
                        const char* data, std::size_t* size) {
  Request& request = exchange.request;
  if (!exchange.is_begun) {
    exchange.is_begun = true;
    request.method = method;
    request.address = exchange.connection->client;
    request.local_address = exchange.connection->local_address;
    MHD_get_connection_values(handle, MHD_HEADER_KIND, add_header, &request.headers);
    exchange.response = early_refusal(exchange);
    if (exchange.response.status != 200) {
      // The rest of the request is not read: the connection ends with the answer.
      add_usual_headers(exchange.response);
      exchange.response.headers.emplace_back("Connection", "close");
      return send(exchange, handle);
    }
    return MHD_YES;
  }
  if (*size > 0) {
    const bool has_room = request.body.size() + *size <= largest_body;
    request.body.append(data, has_room ? *size : 0);
    *size = 0;
    return has_room ? MHD_YES : MHD_NO;
  }
  if (!exchange.is_asked) {
    exchange.is_asked = true;
    exchange.connection->phase = Phase::handling;
    request.now = seconds_now();
    settle(exchange.id, console_->handle(request));
  }
  if (exchange.is_ready) {
    exchange.is_suspended = false;
    return send(exchange, handle);
  }
  exchange.is_suspended = true;
  MHD_suspend_connection(handle);
  return MHD_YES;
}

/* Follows a response through the broker until it is whole, also when its client is gone. */
void Front::settle(std::uint64_t id, Response response) {
  if (response.call) {
    const OperationRow* row = find_operation(static_cast<std::uint16_t>(response.call->operation));
    const bool is_change = row != nullptr && row->changes;
    link_->ask(*response.call, [this, id, is_change, then = response.then](const Answer& answer) {
      if (is_change) {
        events_.hurry();
      }
      settle(id, then(answer));
    });
    return;
  }
  const auto found = exchanges_.find(id);
  if (found != exchanges_.end()) {
    Exchange& exchange = *found->second;
    exchange.response = std::move(response);
    exchange.is_ready = true;
    if (exchange.is_suspended) {
      MHD_resume_connection(exchange.connection->handle);
    }
  }
}

MHD_Result Front::send(Exchange& exchange, MHD_Connection* handle) {
  Response& response = exchange.response;
  if (response.stream && !has_place_for_stream()) {
    response = problem_for_now(503, "too_many_streams", "there are four event streams already", 15);
    add_usual_headers(response);
  }
  exchange.connection->phase = response.stream ? Phase::streaming : Phase::sending;
  exchange.connection->since = seconds_now();
  MHD_Response* made = response.stream
                           ? stream_response(exchange, handle)
                           : MHD_create_response_from_buffer(
                                 response.body.size(), response.body.data(), MHD_RESPMEM_MUST_COPY);
  for (const auto& [name, value] : response.headers) {
    MHD_add_response_header(made, name.c_str(), value.c_str());
  }
  const MHD_Result result =
      MHD_queue_response(handle, static_cast<unsigned>(response.status), made);
  MHD_destroy_response(made);
  return result;
}

MHD_Response* Front::stream_response(const Exchange& exchange, MHD_Connection* handle) {
  Stream& stream = streams_.emplace_back();
  stream.front = this;
  stream.handle = handle;
  stream.of = *exchange.response.stream;
  // Whoever connects knows at once that the stream stands.
  stream.unsent = ":\n\n";
  events_.hurry();
  constexpr std::size_t block = 4096;
  return MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, block, Callbacks::read, &stream,
                                           Callbacks::close_stream);
}

ssize_t Front::read_stream(Stream& stream, char* to, std::size_t most) {
  if (stream.has_ended) {
    return MHD_CONTENT_READER_END_OF_STREAM;
  }
  if (stream.unsent.empty()) {
    stream.unsent = events_.text_after(stream.of.after);
  }
  if (stream.unsent.empty()) {
    stream.is_suspended = true;
    MHD_suspend_connection(stream.handle);
    return 0;
  }
  const std::size_t count = std::min(most, stream.unsent.size());
  std::memcpy(to, stream.unsent.data(), count);
  stream.unsent.erase(0, count);
  return static_cast<ssize_t>(count);
}

/* Those whose session has ended or whose listener has gone: nothing is read from a connection that
 * waits for events, so its end has to be looked for. */
void Front::end_streams(std::int64_t now) {
  for (Stream& stream : streams_) {
    const auto* info = MHD_get_connection_info(stream.handle, MHD_CONNECTION_INFO_CONNECTION_FD);
    pollfd peer{info->connect_fd, POLLRDHUP, 0};
    const bool is_gone = poll(&peer, 1, 0) > 0;
    stream.has_ended = stream.has_ended || is_gone || !console_->is_live(stream.of, now);
    if (stream.has_ended) {
      resume(stream);
    }
  }
}

bool Front::has_place_for_stream() {
  end_streams(seconds_now());
  return std::count_if(streams_.begin(), streams_.end(),
                       [](const Stream& stream) { return !stream.has_ended; }) < most_streams;
}

void Front::wake_streams() {
  for (Stream& stream : streams_) {
    resume(stream);
  }
}

void Front::resume(Stream& stream) {
  if (stream.is_suspended) {
    stream.is_suspended = false;
    MHD_resume_connection(stream.handle);
  }
}

}  // namespace console
