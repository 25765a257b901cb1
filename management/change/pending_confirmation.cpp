#include "management/change/pending_confirmation.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <nlohmann/json.hpp>

#include "management/error.hpp"
#include "management/remedy.hpp"
#include "management/store/paths.hpp"
#include "management/store/settings_record.hpp"
#include "management/system/atomic_file.hpp"

namespace management {

namespace {

using Json = nlohmann::ordered_json;

/* Several times what the largest settings take. */
constexpr size_t largest_file = 512 * 1024;
constexpr size_t largest_tables = 256 * 1024;

[[noreturn]] void fail_damaged(const std::string& why) {
  throw Error(std::string(pending_path) + " is damaged: " + why +
              "; to keep the settings that are stored now, remove the file");
}

Json write_jumps(const JumpSnapshot& jumps) {
  Json families = Json::object();
  for (const Family family : {Family::ipv4, Family::ipv6}) {
    Json list = Json::array();
    for (const Jump& jump : jumps.of(family)) {
      list.push_back({{"rule", jump.rule}, {"after", jump.after}});
    }
    families[family_name(family)] = list;
  }
  families["has_dhcp_rules"] = jumps.has_dhcp_rules;
  return families;
}

JumpSnapshot read_jumps(const Json& families) {
  JumpSnapshot jumps;
  for (const Family family : {Family::ipv4, Family::ipv6}) {
    for (const Json& one : families.at(family_name(family))) {
      Jump jump{one.at("rule").get<std::string>(), one.at("after").get<std::string>()};
      if (!is_own_jump(family, jump.rule)) {
        fail_damaged("\"jumps\" holds a rule that is no jump into a chain of the gateway");
      }
      jumps.of(family).push_back(std::move(jump));
    }
  }
  jumps.has_dhcp_rules = families.at("has_dhcp_rules").get<bool>();
  return jumps;
}

Json write_tables(const std::vector<KeptTable>& tables) {
  Json list = Json::array();
  size_t size = 0;
  for (const KeptTable& kept : tables) {
    size += kept.before.size() + kept.after.size();
    list.push_back({{"tool", kept.table.tool},
                    {"table", kept.table.name},
                    {"before", kept.before},
                    {"after", kept.after}});
  }
  if (size > largest_tables) {
    throw Error("the packet filter holds too many rules to keep them until a confirmation");
  }
  return list;
}

std::vector<KeptTable> read_tables(const Json& list) {
  std::vector<KeptTable> tables;
  for (const Json& one : list) {
    KeptTable kept{{one.at("tool").get<std::string>(), one.at("table").get<std::string>()},
                   one.at("before").get<std::string>(),
                   one.at("after").get<std::string>()};
    if ((kept.table.tool != "iptables" && kept.table.tool != "ip6tables") ||
        (kept.table.name != "filter" && kept.table.name != "nat")) {
      fail_damaged("\"tables\" holds one that no change makes rules in");
    }
    tables.push_back(std::move(kept));
  }
  return tables;
}

}  // namespace

std::optional<Pending> read_pending() {
  if (access(pending_path, F_OK) != 0 && errno == ENOENT) {
    return std::nullopt;
  }
  const std::string text = read_up_to(pending_path, largest_file + 1);
  if (text.size() > largest_file) {
    fail_damaged("it is too large");
  }
  try {
    const Json json = Json::parse(text);
    return Pending{json.value("id", ""),
                   json.at("boot").get<std::string>(),
                   json.at("timer").get<pid_t>(),
                   json.at("seconds").get<int>(),
                   json.at("deadline").get<int64_t>(),
                   settings_of({json.at("old_settings"), json.at("stored_bytes")}),
                   read_jumps(json.at("jumps")),
                   read_tables(json.value("tables", Json::array()))};
  } catch (const Json::exception&) {
    fail_damaged("it is no note of a pending confirmation");
  } catch (const Error&) {
    throw;
  } catch (const std::runtime_error& fault) {
    fail_damaged(fault.what());
  }
}

void write_pending(const Pending& pending) {
  const SettingsRecord record = record_of(pending.old_settings);
  write_atomically(pending_path, Json{{"id", pending.id},
                                      {"boot", pending.boot},
                                      {"timer", pending.timer},
                                      {"seconds", pending.seconds},
                                      {"deadline", pending.deadline},
                                      {"old_settings", record.words},
                                      {"stored_bytes", record.bytes},
                                      {"jumps", write_jumps(pending.jumps)},
                                      {"tables", write_tables(pending.tables)}}
                                     .dump(-1, ' ', true, Json::error_handler_t::replace));
}

void remove_pending() {
  const int stored = open(configuration_path, O_RDONLY | O_CLOEXEC);
  const bool is_durable = stored != -1 && fsync(stored) == 0;
  const int error = errno;
  if (stored != -1) {
    close(stored);
  }
  if (!is_durable) {
    throw Error(std::string(configuration_path) +
                ": cannot be made durable: " + std::strerror(error));
  }
  remove_durably(pending_path);
}

void refuse_while_pending() {
  if (read_pending()) {
    throw Error("the confirmation of an earlier change is pending: " +
                    worded({Remedy::Kind::confirm_or_revert}) + "; nothing was changed",
                ErrorKind::busy);
  }
}

bool is_overdue(const Pending& pending) {
  return pending.boot != this_boot() || pending.deadline <= running_time();
}

std::string this_boot() {
  return read_if_exists("/proc/sys/kernel/random/boot_id").value_or("");
}

int64_t running_time() {
  timespec now = {};
  clock_gettime(CLOCK_BOOTTIME, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

}  // namespace management
