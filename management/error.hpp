/* How the management layer reports: errors as exceptions with a kind, and notices to a sink of the caller. */
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace management {

enum class ErrorKind : uint8_t {
  system,         /* the system or the library refused */
  invalid_input,  /* a file, a name or settings of the caller are wrong; nothing was changed */
  stored_damaged, /* the configuration file is torn or implausible */
  busy,           /* another change holds the lock, or waits for its confirmation */
};

class Error : public std::runtime_error {
 public:
  explicit Error(const std::string& message, ErrorKind kind = ErrorKind::system)
      : std::runtime_error(message), kind_(kind) {}
  [[nodiscard]] ErrorKind kind() const { return kind_; }

 private:
  ErrorKind kind_;
};

enum class Severity : uint8_t {
  notice, /* a warning, or progress */
  error,  /* something that could not be done */
};

/* Receives one line for people. */
using NoticeSink = void (*)(Severity severity, const std::string& text);

/* Sets the sink of the process. Without one, notices are dropped. */
void set_notice_sink(NoticeSink sink);

/* Hands one line to the sink. */
void notify(const std::string& text, Severity severity = Severity::notice);

}  // namespace management
