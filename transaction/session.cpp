#include "transaction/session.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <new>
#include <string_view>

#include "l3_advance/configuration_file.h"
#include "l3_advance/firewall.h"
#include "l3_advance/shell_command.h"
#include "management/error.hpp"
#include "management/store/paths.hpp"
#include "management/system/atomic_file.hpp"
#include "transaction/platform_calls.hpp"

namespace transaction {

namespace {

using management::Error;
using management::ErrorKind;

/* Where the records begin in the configuration file. */
constexpr std::size_t fw_offset = 31;
constexpr std::size_t qos_offset = fw_offset + sizeof(l3_fw_rules);
constexpr std::size_t fw6_offset = qos_offset + sizeof(l3_route_qos);

/* A rule to delete is often missing, and a chain to create is often there. */
constexpr std::string_view allowed_failures[] = {
    "iptables -D ",  "iptables -t filter -D ",  "iptables -t nat -D ",  "iptables -N ",
    "ip6tables -D ", "ip6tables -t filter -D ", "ip6tables -t nat -D ", "ip6tables -N "};

constexpr std::string_view tools[] = {"iptables",  "iptables-save",  "iptables-restore",
                                      "ip6tables", "ip6tables-save", "ip6tables-restore"};

constexpr int attempts = 3;

bool runs_packet_filter_tool(std::string_view line) {
  const std::string_view tool = line.substr(0, line.find(' '));
  return std::any_of(std::begin(tools), std::end(tools),
                     [&](std::string_view name) { return tool == name; });
}

/* The first line of a text, as much of it as there is room for. */
template <std::size_t size>
void put(char (&place)[size], std::string_view text) {
  text = text.substr(0, text.find('\n'));
  text = text.substr(0, size - 1);
  std::memcpy(place, text.data(), text.size());
  place[text.size()] = '\0';
}

/* Calls until memory suffices. Returns whether it did. */
template <typename Call>
bool insist(Call&& call) {
  for (int attempt = 0; attempt < attempts; ++attempt) {
    try {
      call();
      return true;
    } catch (const std::bad_alloc&) {
      continue;
    }
  }
  return false;
}

template <typename Record>
bool holds(const std::string& file, std::size_t offset, const Record& record) {
  return file.size() >= offset + sizeof record &&
         std::memcmp(file.data() + offset, &record, sizeof record) == 0;
}

/* A write of the library that failed has changed the records in memory alone. */
bool is_stored() {
  const auto file = management::read_if_exists(management::configuration_path);
  return file && holds(*file, fw_offset, fw_rules_table) &&
         holds(*file, fw6_offset, fw6_rules_table) && holds(*file, qos_offset, RtQoSRulesTable);
}

}  // namespace

OccupyDescriptors::OccupyDescriptors() {
  for (int file = STDIN_FILENO; file <= STDERR_FILENO; ++file) {
    if (fcntl(file, F_GETFD) == -1) {
      is_occupied_[file] = open("/dev/null", O_RDWR | O_CLOEXEC) == file;
    }
  }
}

OccupyDescriptors::~OccupyDescriptors() {
  if (is_occupied_[STDOUT_FILENO]) {
    std::fflush(stdout);
  }
  for (int file = STDIN_FILENO; file <= STDERR_FILENO; ++file) {
    if (is_occupied_[file]) {
      close(file);
    }
  }
}

void Session::open(int lock_timeout) {
  descriptors_.emplace();
  take_lock(lock_timeout);
  signals_.block();
  if (access(management::pending_path, F_OK) == 0) {
    throw Error("a change that was applied with --confirm waits for its confirmation",
                ErrorKind::busy);
  }
  check_interposed();
  snapshot_.emplace(platform_calls());
  keep_records();
  try {
    start();
  } catch (...) {
    insist([&] { static_cast<void>(snapshot_->restore()); });
    restore_records();
    throw;
  }
  is_open_ = true;
}

void Session::take_lock(int timeout) {
  management::Options options;
  options.lock_timeout = timeout;
  try {
    lock_.emplace(options);
  } catch (const Error& error) {
    if (error.kind() == ErrorKind::busy) {
      throw Error("another process is changing settings", ErrorKind::busy);
    }
    throw;
  }
}

void Session::check_interposed() {
  is_checking_ = true;
  const bool is_interposed = executor_.is_interposed(str_system);
  is_checking_ = false;
  if (!is_interposed) {
    throw Error(
        "the library's command lines do not reach libl3_transaction: link the program with it, in "
        "front of the C library");
  }
}

void Session::start() {
  load();
  keep_records();
  snapshot_->add_loaded();
  executor::start_through_child();
  for (const std::string_view beginning : allowed_failures) {
    executor_.allow_failure(beginning);
  }
  executor_.set_mode(executor::Mode::transaction);
}

Session::~Session() {
  if (lock_) {
    lock_->release();
  }
}

/* A missing configuration file is created, as by every call of the library. */
void Session::load() {
  management::require_regular_file(management::configuration_path);
  uint8_t is_on = 0;
  if (gl3_web_get_fw_status(&is_on) != 0 || get_firewall_rules_from_cfgfile() != 0 ||
      get_qos_cfg_from_cfgfile() != 0) {
    throw Error(std::string("cannot read ") + management::configuration_path);
  }
}

void Session::keep_records() {
  fw_ = fw_rules_table;
  fw6_ = fw6_rules_table;
  qos_ = RtQoSRulesTable;
}

/* The library's copy of the master switch is read from the file. */
void Session::restore_records() {
  fw_rules_table = fw_;
  fw6_rules_table = fw6_;
  RtQoSRulesTable = qos_;
  if (access(management::configuration_path, F_OK) == 0) {
    uint8_t is_on = 0;
    gl3_web_get_fw_status(&is_on);
  }
}

bool Session::takes(const char* line) const {
  return is_checking_ || (is_open_ && runs_packet_filter_tool(line));
}

int Session::run(const char* line) noexcept {
  if (is_out_of_memory_) {
    return executor::exit_1;
  }
  try {
    return executor_.run(line);
  } catch (const std::exception&) {
    // Lines are missing from here on: only a rollback is left.
    is_out_of_memory_ = true;
    return executor::exit_1;
  }
}

int Session::commit(l3_transaction_report& report) noexcept {
  try {
    if (make(report)) {
      return report.result = L3_TRANSACTION_OK;
    }
  } catch (const std::bad_alloc&) {
    is_out_of_memory_ = true;
  } catch (const std::exception& error) {
    put(report.message, error.what());
  }
  if (is_out_of_memory_) {
    put(report.message, "out of memory");
  }
  report.result = report.line[0] == '\0' ? L3_TRANSACTION_SYSTEM : L3_TRANSACTION_REFUSED;
  if (!rollback(report)) {
    report.result = L3_TRANSACTION_NOT_RESTORED;
  }
  return report.result;
}

/* Returns whether everything was made; otherwise the report says what was not. */
bool Session::make(l3_transaction_report& report) {
  const bool is_made = !is_out_of_memory_ && executor_.commit();
  if (!executor_.failed_lines().empty()) {
    const executor::FailedLine& failed = executor_.failed_lines().front();
    put(report.line, failed.line);
    put(report.message, failed.message);
    report.wait_status = failed.status;
    return false;
  }
  if (is_made && !is_stored()) {
    put(report.message,
        std::string(management::configuration_path) + " does not hold what was set");
    return false;
  }
  if (!is_made) {
    put(report.message, "the rules were not made");
  }
  return is_made;
}

bool Session::rollback(l3_transaction_report& report) noexcept {
  std::string problems;
  bool is_restored = false;
  try {
    const bool has_memory = insist([&] {
      problems.clear();
      for (const std::string& problem : snapshot_->restore()) {
        problems += (problems.empty() ? "" : "; ") + problem;
      }
      if (const std::string rules = executor_.rollback(); !rules.empty()) {
        problems += (problems.empty() ? "" : "; ") + rules;
      }
    });
    is_restored = has_memory && problems.empty();
    put(report.not_restored, has_memory ? problems : "out of memory");
  } catch (const std::exception& error) {
    put(report.not_restored, error.what());
  }
  restore_records();
  is_open_ = false;
  return is_restored;
}

void Session::leave_lock() const {
  if (lock_) {
    close(lock_->descriptor());
  }
}

}  // namespace transaction
