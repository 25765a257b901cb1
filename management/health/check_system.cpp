/* What doctor says of the tools and of the kernel. */
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "executor/process.hpp"
#include "executor/system.hpp"
#include "executor/words.hpp"
#include "l3_advance/shell_command.h"
#include "management/health/health.hpp"
#include "management/system/find_tool.hpp"
#include "management/system/redirect_output.hpp"
#include "management/system/text.hpp"

namespace management {

namespace {

using State = Finding::State;

/* A rule of each kind that the filters make. */
constexpr struct {
  const char* name;
  const char* rule;
} kinds[] = {
    {"ports", "iptables -A FORWARD -p tcp --dport 80:88 -j DROP"},
    {"string", "iptables -A FORWARD -p udp --dport 53 -m string --string abc --algo bm -j DROP"},
    {"time", "iptables -A FORWARD -m time --timestart 8:5 --timestop 23:59 -j DROP"},
    {"mac", "iptables -A FORWARD -m mac --mac-source 02:00:00:00:00:01 -j DROP"},
    {"state", "iptables -A FORWARD -p tcp ! --syn -m state --state NEW -j DROP"},
    {"limit", "iptables -A FORWARD -p tcp -m limit --limit 1/s -j ACCEPT"},
    {"LOG", "iptables -A FORWARD -p tcp -j LOG --log-prefix x"},
    {"ports of IPv6", "ip6tables -A FORWARD -p tcp --dport 80:88 -j DROP"},
    {"time of IPv6", "ip6tables -A FORWARD -m time --timestart 8:5 --timestop 23:59 -j DROP"},
    {"mac of IPv6", "ip6tables -A FORWARD -m mac --mac-source 02:00:00:00:00:01 -j DROP"},
};

/* "v1.8.9 (legacy)" */
std::string version_of(const char* tool) {
  const std::string said = executor::run({tool, "--version"}).output;
  const std::string line = said.substr(0, said.find('\n'));
  const size_t space = line.find(' ');
  return space == std::string::npos ? line : line.substr(space + 1);
}

/* In a network of its own: tries every kind, and says a line for each that is refused. */
std::string refused_kinds() {
  // The lock of the real tables is not needed for tables that nobody else sees.
  setenv("XTABLES_LOCKFILE", "/dev/null", 1);
  std::string refused;
  for (const auto& kind : kinds) {
    if (executor::run(*executor::shell_words(kind.rule)).status != 0) {
      refused += std::string(kind.name) + "\n";
    }
  }
  return refused;
}

[[noreturn]] void try_kinds(int answer) {
  int status = 0;
  if (unshare(CLONE_NEWNET) != 0) {
    status = errno;
  } else {
    const std::string refused = refused_kinds();
    status = executor::write_all(answer, refused) ? 0 : EIO;
  }
  _exit(status);
}

struct Trial {
  int error = 0; /* why nothing could be tried */
  std::vector<std::string> refused;
};

Trial tried_kinds() {
  int ends[2] = {-1, -1};
  if (pipe(ends) != 0) {
    return {errno, {}};
  }
  const pid_t child = fork();
  if (child == 0) {
    close(ends[0]);
    try_kinds(ends[1]);
  }
  close(ends[1]);
  std::string answer;
  char buffer[256];
  for (ssize_t got = 0; (got = read(ends[0], buffer, sizeof buffer)) > 0;) {
    answer.append(buffer, static_cast<size_t>(got));
  }
  close(ends[0]);
  int status = 0;
  if (child == -1 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) {
    return {EIO, {}};
  }
  Trial trial{WEXITSTATUS(status), {}};
  std::istringstream lines(answer);
  for (std::string line; std::getline(lines, line);) {
    trial.refused.push_back(line);
  }
  return trial;
}

}  // namespace

void check_tools(Findings& findings) {
  const std::vector<std::string> missing = missing_tools();
  std::vector<std::string> others;
  std::string version;
  for (const char* tool : iptables_tools) {
    if (tool_path(tool).empty()) {
      continue;
    }
    const std::string own = version_of(tool);
    version = version.empty() ? own : version;
    if (own != version) {
      others.push_back(std::string(tool) + " " + own);
    }
  }
  if (!missing.empty()) {
    findings.push_back(
        {State::problem, "tools", not_in_path(missing),
         "install iptables, or add the directory of its tools to PATH; every rule is "
         "made with them"});
  }
  if (!others.empty()) {
    findings.push_back({State::problem, "tools",
                        "not all tools are " + version + ": " + joined(others),
                        "let all six names lead to one backend: rules written through one are not "
                        "seen through the other"});
  }
  if (missing.empty() && others.empty()) {
    findings.push_back({State::ok, "tools", "all six are iptables " + version, ""});
  }
  findings.push_back(
      {State::ok, "picture",
       tool_path("dot").empty()
           ? "dot is not in PATH; only " + worded({Remedy::Kind::picture}) + " needs it"
           : "dot is there for " + worded({Remedy::Kind::picture}),
       ""});
  if (!quietly([] { return executor::system_executor().is_interposed(str_system); })) {
    findings.push_back({State::problem,
                        "program",
                        "command lines of the library do not reach this program",
                        "",
                        {{Remedy::Kind::one_build}}});
  }
}

void check_kernel(Findings& findings) {
  if (!missing_tools().empty()) {
    findings.push_back({State::warning, "kernel",
                        "kinds of rules were not tried, since tools are missing",
                        "run doctor once more when they are there"});
    return;
  }
  const Trial trial = tried_kinds();
  if (trial.error != 0) {
    findings.push_back(
        {State::warning, "kernel",
         std::string("kinds of rules could not be tried in a network of their own: ") +
             std::strerror(trial.error),
         "run doctor as root"});
  } else if (!trial.refused.empty()) {
    findings.push_back(
        {State::problem, "kernel", "refuses rules of the kinds " + joined(trial.refused),
         "give the kernel the netfilter modules for them; a refused rule empties its "
         "whole chain"});
  } else {
    findings.push_back({State::ok, "kernel", "takes every kind of rule that the filters make", ""});
  }
}

}  // namespace management
