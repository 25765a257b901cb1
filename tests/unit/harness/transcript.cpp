#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>

#include "fault.hpp"
#include "harness.hpp"
#include "recorder.hpp"

namespace harness {
namespace {

bool is_recording = false;
Lines events;
int capture_fd = -1;
off_t capture_seen = 0;

/* Turns what has reached standard output since the last look into events, a line an event. */
void drain_output() {
  fflush(stdout);
  std::string text;
  char buffer[4096];
  for (;;) {
    const ssize_t got = pread(capture_fd, buffer, sizeof(buffer), capture_seen);
    if (got <= 0) {
      break;
    }
    text.append(buffer, static_cast<size_t>(got));
    capture_seen += got;
  }
  while (!text.empty()) {
    const size_t end = text.find('\n');
    const size_t length = end == std::string::npos ? text.size() : end + 1;
    events.push_back("out " + printable(text.substr(0, length)));
    text.erase(0, length);
  }
}

std::string join(const Lines& all) {
  std::string text;
  for (const std::string& line : all) {
    text += line;
    text += '\n';
  }
  return text;
}

Lines after_status(std::string_view command, int exit_code) {
  char status[64];
  snprintf(status, sizeof(status), "exit status value = [0x%x]\n", exit_code << 8);
  Lines result = harness::command(command);
  for (const Lines& more :
       {debug(status), error("run [" + std::string(command) +
                             "] fail, script exit code: " + std::to_string(exit_code) + "\n")}) {
    result.insert(result.end(), more.begin(), more.end());
  }
  return result;
}

}  // namespace

bool recording() {
  return is_recording;
}

std::string printable(std::string_view text) {
  std::string result;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte == '\n') {
      result += "\\n";
    } else if (byte == '\r') {
      result += "\\r";
    } else if (byte < 0x20 || byte >= 0x7f) {
      char escaped[5];
      snprintf(escaped, sizeof(escaped), "\\x%02x", byte);
      result += escaped;
    } else {
      result += character;
    }
  }
  return result;
}

void add_event(const std::string& event) {
  if (!is_recording) {
    return;
  }
  drain_output();
  events.push_back(event);
}

Lines error(std::string_view text) {
  return {"error line[#], " + printable(text)};
}
Lines debug(std::string_view text) {
  return {"debug line[#], " + printable(text)};
}
Lines out(std::string_view text) {
  return {"out " + printable(text)};
}
Lines platform(std::string_view call) {
  return {"platform " + std::string(call)};
}
Lines refresh() {
  return platform("grm_all_refresh_log_mod_level");
}
Lines command(std::string_view command) {
  return {"run " + printable(command)};
}

Lines ran(std::string_view command) {
  return {"run " + printable(command), "debug line[#], exit status value = [0x0]\\n",
          "debug line[#], run shell script successfully.\\n"};
}

Lines ran_and_failed(std::string_view command, int exit_code) {
  return after_status(command, exit_code);
}

Lines operator+(Lines left, const Lines& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

std::string lines(std::initializer_list<Lines> parts) {
  std::string text;
  for (const Lines& part : parts) {
    text += join(part);
  }
  return text;
}

std::string record(const std::function<void()>& action) {
  fflush(stdout);
  const int real_stdout = dup(STDOUT_FILENO);
  capture_fd = memfd_create("stdout", 0);
  capture_seen = 0;
  dup2(capture_fd, STDOUT_FILENO);
  events.clear();
  start_counting_file_calls();
  start_counting_operations();
  is_recording = true;
  action();
  drain_output();
  is_recording = false;
  stop_counting_operations();
  dup2(real_stdout, STDOUT_FILENO);
  syscall(SYS_close, real_stdout);
  syscall(SYS_close, capture_fd);
  return join(events);
}

}  // namespace harness
