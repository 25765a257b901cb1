#include "management/store/stored_settings.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "l3_advance/l3_advance.h"
#include "management/error.hpp"
#include "management/store/paths.hpp"
#include "management/system/atomic_file.hpp"
#include "management/system/redirect_output.hpp"

namespace management {

namespace {

/* The library reports only that it could not read the file. */
std::string why_unreadable() {
  const int file = open(configuration_path, O_RDWR | O_CLOEXEC);
  if (file == -1) {
    return std::strerror(errno);
  }
  close(file);
  return "its content could not be read";
}

}  // namespace

bool stored_exists() {
  return access(configuration_path, F_OK) == 0;
}

settings::Settings load_stored() {
  require_regular_file(configuration_path);
  const RedirectLibraryOutput redirection;
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
    throw Error(std::string("cannot read ") + configuration_path + ": " + why_unreadable());
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
  notify(std::string(configuration_path) + " does not exist yet; these are its defaults");
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

}  // namespace management
