#include "management/change/pending_confirmation.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <nlohmann/json.hpp>
#include <span>

#include "management/error.hpp"
#include "management/store/paths.hpp"
#include "management/store/unsafe_text.hpp"
#include "management/system/atomic_file.hpp"
#include "settings/values.hpp"

namespace management {

namespace {

using Json = nlohmann::ordered_json;
using settings::Settings;

/* Calls visit(name, member) for what an apply can change; a security level is no state of its own. */
template <typename AnySettings, typename Visit>
void each_member(AnySettings& settings, Visit visit) {
  visit("firewall", settings.firewall);
  visit("port_scan_protection", settings.port_scan_protection);
  visit("ipsec_pass_through", settings.ipsec_pass_through);
  visit("vpn_pass_through", settings.vpn_pass_through);
  visit("ip_filter", settings.ip_filter);
  visit("ip6_filter", settings.ip6_filter);
  visit("url_filter", settings.url_filter);
  visit("mac_filter", settings.mac_filter);
  visit("mac6_filter", settings.mac6_filter);
  visit("dhcp_filter", settings.dhcp_filter);
  visit("acl", settings.acl);
  visit("captive_portal", settings.captive_portal);
  visit("route_qos_enabled", settings.route_qos_enabled);
  visit("route_qos_rules", settings.route_qos_rules);
}

/* Byte for byte: what is stored may be more than words can say. */
Json in_bytes(const Settings& settings) {
  Json members = Json::object();
  each_member(settings, [&](const char* name, const auto& member) {
    if (member) {
      uint8_t bytes[sizeof *member];
      std::memcpy(bytes, &*member, sizeof bytes);
      members[name] = settings::hex_text(bytes);
    }
  });
  return members;
}

/* Nor may what comes back hold what a shell could run. */
void refuse_commands(const Settings& old_settings) {
  const std::string command =
      old_settings.captive_portal ? find_unsafe_text(old_settings) : std::string();
  if (!command.empty()) {
    throw Error(std::string(pending_path) + ": " + command);
  }
}

Settings from_bytes(const Json& members) {
  Settings settings;
  each_member(settings, [&](const char* name, auto& member) {
    if (!members.contains(name)) {
      return;
    }
    const auto bytes = settings::parse_hex(members[name].get<std::string>()).value;
    if (!bytes || bytes->size() != sizeof *member) {
      throw Error(std::string(pending_path) + ": " + name + " is damaged");
    }
    std::memcpy(&member.emplace(), bytes->data(), bytes->size());
  });
  refuse_commands(settings);
  return settings;
}

}  // namespace

std::optional<Pending> read_pending() {
  const auto text = read_if_exists(pending_path);
  if (!text) {
    return std::nullopt;
  }
  try {
    const Json json = Json::parse(*text);
    return Pending{json.at("boot").get<std::string>(), json.at("timer").get<pid_t>(),
                   json.at("seconds").get<int>(), json.at("deadline").get<int64_t>(),
                   from_bytes(json.at("old_settings"))};
  } catch (const Json::exception&) {
    throw Error(std::string(pending_path) + " is damaged");
  }
}

void write_pending(const Pending& pending) {
  write_atomically(pending_path, Json{{"boot", pending.boot},
                                      {"timer", pending.timer},
                                      {"seconds", pending.seconds},
                                      {"deadline", pending.deadline},
                                      {"old_settings", in_bytes(pending.old_settings)}}
                                     .dump());
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
  if (access(pending_path, F_OK) == 0) {
    throw Error(
        "an earlier apply waits for its confirmation: \"l3ctl confirm\" keeps its settings, "
        "\"l3ctl confirm --revert\" takes them back; nothing was changed");
  }
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
