#include "l3ctl/library.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <nlohmann/json.hpp>
#include <utility>

#include "executor/executor.hpp"
#include "l3_advance/l3_advance.h"
#include "l3ctl/pending.hpp"
#include "l3ctl/printable.hpp"
#include "l3ctl/stored_commands.hpp"
#include "l3ctl/stored_damage.hpp"
#include "l3ctl/wanted_rules.hpp"

namespace l3ctl {

namespace {

using Json = nlohmann::ordered_json;

sigset_t signals_before;

/* Those that would end the program wait until the change is whole, which takes milliseconds: a
 * terminal's, a pipe that nobody reads any more, a limit on the size of files. */
void put_signals_off() {
  sigset_t ending;
  sigemptyset(&ending);
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPIPE, SIGXFSZ}) {
    sigaddset(&ending, signal);
  }
  sigprocmask(SIG_BLOCK, &ending, &signals_before);
}

std::string outcome(int status) {
  if (status == -1) {
    return "was not started";
  }
  return WIFSIGNALED(status) ? "was ended by signal " + std::to_string(WTERMSIG(status))
                             : "ended with " + std::to_string(WEXITSTATUS(status));
}

/* Whether a tool said that a chain is missing, in the words of either backend. */
bool misses_chain(const std::string& message) {
  return message.find("No chain") != std::string::npos ||
         message.find("does not exist") != std::string::npos ||
         message.find("Couldn't load target") != std::string::npos;
}

/* The library says only that it could not. */
std::string why_unreadable() {
  const int file = open(configuration_path, O_RDWR | O_CLOEXEC);
  if (file == -1) {
    return std::strerror(errno);
  }
  close(file);
  return "its content could not be read";
}

/* What is not meant would be made into rules, and stored once more as if it were whole. */
void refuse_damage() {
  if (const std::string damage = stored_damage(); !damage.empty()) {
    throw Failure(damage +
                  "; \"l3ctl inspect\" tells all, \"l3ctl restore\" puts a backup back, --force "
                  "goes on all the same; nothing was changed");
  }
}

/* Nobody else edits the rules once the lock is held. */
Lock locked_while_reading(const Context& context, Foreseen foreseen) {
  Lock lock(context);
  if (foreseen != Foreseen::nothing && !context.one_by_one) {
    executor::read_ahead(foreseen == Foreseen::ipv4_rules ? "iptables" : "ip6tables");
  }
  return lock;
}

void tell_remains(const std::vector<std::string>& problems) {
  for (const std::string& problem : problems) {
    complain("cannot put back what was before: " + problem);
  }
}

std::string first_line(const std::string& text) {
  return text.substr(0, text.find('\n'));
}

}  // namespace

OutputAside::OutputAside() : real_(-1) {
  std::cout.flush();
  std::fflush(stdout);
  real_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  dup2(STDERR_FILENO, STDOUT_FILENO);
}

OutputAside::~OutputAside() {
  std::fflush(stdout);
  if (real_ != -1) {
    dup2(real_, STDOUT_FILENO);
    close(real_);
  } else {
    close(STDOUT_FILENO);
  }
}

bool stored_exists() {
  return access(configuration_path, F_OK) == 0;
}

settings::Settings load_stored() {
  const OutputAside aside;
  settings::Settings stored;
  uint8_t firewall = 0;
  uint8_t port_scan = 0;
  uint32_t ipsec = 0;
  uint8_t vpn = 0;
  int32_t qos = 0;
  const bool is_loaded =
      gl3_web_get_fw_status(&firewall) == 0 && gl3_web_get_anti_port_scan(&port_scan) == 0 &&
      gl3_web_get_ipsec_pass_ctrl(&ipsec) == 0 &&
      // The VPN call that the platform answers would tell it the stored state; this only looks.
      get_vpn_pass_through_state_from_cfgfile(&vpn) == 0 &&
      gl3_web_get_firewall_cfg(&stored.ip_filter.emplace()) == 0 &&
      gl3_web_get_firewall6_cfg(&stored.ip6_filter.emplace()) == 0 &&
      gl3_web_get_url_cfg(&stored.url_filter.emplace()) == 0 &&
      gl3_web_get_mac_cfg(&stored.mac_filter.emplace()) == 0 &&
      gl3_web_get_mac6_cfg(&stored.mac6_filter.emplace()) == 0 &&
      gl3_web_get_dhcp_cfg(&stored.dhcp_filter.emplace()) == 0 &&
      gl3_web_get_acl_cfg(&stored.acl.emplace()) == 0 &&
      gl3_web_get_caporl_cfg(&stored.captive_portal.emplace()) == 0 &&
      gl3_web_get_route_qos_control(&qos) == 0 &&
      gl3_web_get_route_qos(&stored.route_qos_rules.emplace()) == 0;
  if (!is_loaded) {
    throw Failure(std::string("cannot read ") + configuration_path + ": " + why_unreadable());
  }
  stored.firewall = firewall != 0;
  stored.port_scan_protection = port_scan != 0;
  stored.ipsec_pass_through = ipsec != 0;
  stored.vpn_pass_through = vpn != 0;
  stored.route_qos_enabled = qos != 0;
  return stored;
}

settings::Settings stored_or_defaults() {
  if (stored_exists()) {
    return load_stored();
  }
  complain(std::string(configuration_path) + " does not exist yet; these are its defaults");
  settings::Settings defaults;
  defaults.firewall = false;
  defaults.port_scan_protection = false;
  defaults.ipsec_pass_through = true;
  defaults.vpn_pass_through = false;
  defaults.ip_filter.emplace();
  defaults.ip6_filter.emplace();
  defaults.url_filter.emplace();
  defaults.mac_filter.emplace();
  defaults.mac6_filter.emplace();
  defaults.dhcp_filter.emplace();
  defaults.acl.emplace();
  defaults.captive_portal.emplace();
  defaults.route_qos_enabled = false;
  defaults.route_qos_rules.emplace();
  return defaults;
}

Change::Change(const Context& context, Lock lock, Meets meets, OnFailure on_failure)
    : context_(context), on_failure_(on_failure), lock_(std::move(lock)) {
  if (!quietly([] { return executor::in_place(str_system); })) {
    throw Failure("command lines of the library do not reach this program; nothing was changed");
  }
  if (meets != Meets::anything) {
    refuse_while_pending();
  }
  if ((meets == Meets::sound_state || meets == Meets::hostile_portal) && !context.force) {
    refuse_damage();
  } else {
    warn_of_stored_damage();
  }
  clear_up_store();
  put_signals_off();
  // What is stored tells of a household, and saved rules become commands: also those that tools write.
  umask(077);
  if (on_failure == OnFailure::put_back) {
    before_.emplace();
  }
  stored_ = load_stored();
  if (meets != Meets::hostile_portal && meets != Meets::damage) {
    refuse_stored_commands(stored_);
  }
  if (before_) {
    before_->keep_loaded();
    executor::remember_rules();
  } else {
    executor::on_refusal(executor::OnRefusal::go_on);
  }
  executor::work(way());
}

Change::Change(const Context& context, Foreseen foreseen, Meets meets)
    : Change(context, locked_while_reading(context, foreseen), meets, OnFailure::put_back) {}

Change::~Change() {
  // What an exception ends has not been reported.
  if (std::uncaught_exceptions() > exceptions_ && on_failure_ == OnFailure::put_back) {
    take_back();
  }
  executor::work(executor::Way::direct);
  // A signal that waited ends the program here; what was reported must be out by then.
  std::cout.flush();
  sigprocmask(SIG_SETMASK, &signals_before, nullptr);
}

executor::Way Change::way() const {
  return context_.one_by_one ? executor::Way::direct : executor::Way::transaction;
}

bool Change::take_back() {
  const std::vector<std::string> remains = put_back();
  tell_remains(remains);
  return remains.empty();
}

/* Returns what could not be put back. */
std::vector<std::string> Change::put_back() {
  std::vector<std::string> problems = quietly([&] { return before_->put_back(); });
  if (const std::string rules = executor::put_back(); !rules.empty()) {
    problems.push_back(rules);
  }
  return problems;
}

Json Change::failed_rules() const {
  Json rules = Json::array();
  for (const executor::FailedLine& failed : executor::failed_lines()) {
    const std::string message = first_line(failed.message);
    const std::string setting = origin_of(failed.line).path;
    rules.push_back({{"setting", setting.empty() ? Json() : Json(setting)},
                     {"line", failed.line},
                     {"outcome", outcome(failed.status)},
                     {"message", message}});
    complain((setting.empty() ? "" : setting + ": ") + "\"" + printable(failed.line) + "\" " +
             outcome(failed.status) + (message.empty() ? "" : ": " + printable(message)));
  }
  return rules;
}

int Change::report(const std::string& done) {
  return report(done, Json::object());
}

bool Change::make() {
  const bool is_made = quietly(executor::commit);
  return is_made && failed_.empty() && executor::failed_lines().empty();
}

int Change::report(const std::string& done, const Json& members) {
  const bool is_done = make();
  // Before a word is said: whoever reads it may be gone, or take his time.
  const bool goes_back = !is_done && on_failure_ == OnFailure::put_back;
  const std::vector<std::string> remains = goes_back ? put_back() : std::vector<std::string>();
  const Json rules = failed_rules();
  for (const std::string& what : failed_) {
    complain(what + ": the library reports a failure");
  }
  if (context_.json) {
    Json result{{"done", is_done ? Json(done) : Json()}};
    if (is_done || on_failure_ == OnFailure::go_on) {
      result.update(members);
    }
    result["failed"] = failed_;
    result["failed_rules"] = rules;
    std::cout << result.dump(2, ' ', true, Json::error_handler_t::replace) << '\n';
  } else if (is_done) {
    std::cout << done << '\n';
  }
  return is_done ? exit_done : tell_failure(rules, remains);
}

/* Returns the exit status. */
int Change::tell_failure(const Json& rules, const std::vector<std::string>& remains) {
  if (std::any_of(rules.begin(), rules.end(),
                  [](const Json& rule) { return misses_chain(rule["message"]); })) {
    complain("hint: the chains are made at start-up, by \"l3ctl init\"");
  }
  tell_remains(remains);
  if (!remains.empty()) {
    return exit_failed;
  }
  const std::string rest =
      on_failure_ == OnFailure::go_on ? "all else is done" : "everything is as it was before";
  if (rules.empty()) {
    complain("the change failed; " + rest);
    return exit_failed;
  }
  complain("the packet filter refused a rule; " + rest);
  return exit_rule_refused;
}

}  // namespace l3ctl
