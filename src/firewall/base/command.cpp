#include "firewall/base/command.hpp"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "firewall/base/log.hpp"
#include "l3_advance/address.h"

namespace l3 {

void CommandLine::append(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int added = vsnprintf(text_.data() + length_, text_.size() - length_, format, arguments);
  va_end(arguments);

  if (added < 0) {       // LCOV_EXCL_BR_LINE: only an encoding error, which no format here can have
    overflowed_ = true;  // LCOV_EXCL_LINE
    return;              // LCOV_EXCL_LINE
  }
  length_ += static_cast<size_t>(added);
  if (length_ >= text_.size()) {
    length_ = text_.size() - 1;
    overflowed_ = true;
  }
}

void CommandLine::replace(const char* old_text, const char* new_text) {
  while (replace_string(text(), old_text, new_text) == -1) {
    text()[strlen(text()) - 1] = '\0';
    overflowed_ = true;
  }
  length_ = strlen(text());
}

int32_t CommandLine::run() const {
  if (overflowed_) {
    L3_LOG_ERROR("command is too long: [%s]\n", text());
    return -1;
  }
  return str_system(text());
}

}  // namespace l3

extern "C" int32_t str_system(const char* command) {
  if (command == nullptr) {
    L3_LOG_ERROR("str_system::pcmdstring is NULLP\n");
    return -1;
  }

  // NOLINTNEXTLINE(cert-env33-c): running shell lines is what this library is for.
  const int status = system(command);
  if (status == -1) {
    // Kept: no line feed here, so whatever is logged next stands on the same line.
    L3_LOG_ERROR("run [%s], system error!", command);
    return -1;
  }
  L3_LOG_DEBUG("exit status value = [0x%x]\n", static_cast<unsigned>(status));

  const int exit_code = (status & 0xff00) >> 8;
  if ((status & 127) != 0) {
    // Kept: the exit-code byte is printed, not the signal number; it is 0 after a signal.
    L3_LOG_ERROR("run [%s], exit status = [%d]\n", command, exit_code);
    return -1;
  }
  if (exit_code != 0) {
    L3_LOG_ERROR("run [%s] fail, script exit code: %d\n", command, exit_code);
    return -1;
  }
  L3_LOG_DEBUG("run shell script successfully.\n");
  return 0;
}
