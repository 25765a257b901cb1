#include "management/system/journal.hpp"

#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <cstring>

#include "management/system/escape.hpp"

namespace management {

namespace {

constexpr char socket_path[] = "/run/systemd/journal/socket";
constexpr size_t longest_value = 1024;

struct Kind {
  const char* id;
  int priority;
};

Kind kind_of(Event event) {
  switch (event) {
    case Event::change_confirmed:
      return {"40d31c02a4f75234b25931fc84ece4fe", LOG_NOTICE};
    case Event::change_rolled_back:
      return {"5cd329c5cda13b8fff2ef1873d534657", LOG_WARNING};
    case Event::drift_found:
      break;
  }
  return {"c06ed164370a0b5b604e6fc4524f9b9b", LOG_WARNING};
}

/* Escaped text has no line feed, which would end a field. */
std::string one_line(const std::string& text) {
  return escape(escape(text).substr(0, longest_value));
}

void add(std::string& datagram, const char* name, const std::string& value) {
  datagram += std::string(name) + "=" + value + "\n";
}

/* Whether journald has taken it. */
bool send_to_journald(const std::string& datagram) {
  const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor == -1) {
    return false;
  }
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, socket_path, sizeof socket_path);
  const ssize_t sent = sendto(descriptor, datagram.data(), datagram.size(), MSG_NOSIGNAL,
                              reinterpret_cast<const sockaddr*>(&address), sizeof address);
  close(descriptor);
  return sent == static_cast<ssize_t>(datagram.size());
}

}  // namespace

void tell_journal(Event event, const std::string& message, const JournalFields& fields) {
  const Kind kind = kind_of(event);
  const std::string line = one_line(message);
  std::string datagram;
  add(datagram, "MESSAGE", line);
  add(datagram, "MESSAGE_ID", kind.id);
  add(datagram, "PRIORITY", std::to_string(kind.priority));
  add(datagram, "SYSLOG_IDENTIFIER", "l3ctl");
  std::string rest;
  for (const auto& [name, value] : fields) {
    if (!value.empty()) {
      add(datagram, name, one_line(value));
      rest += std::string(" ") + name + "=" + one_line(value);
    }
  }
  if (!send_to_journald(datagram)) {
    openlog("l3ctl", LOG_PID, LOG_DAEMON);
    syslog(kind.priority, "%s%s", line.c_str(), rest.c_str());
    closelog();
  }
}

}  // namespace management
