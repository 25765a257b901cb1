/*
 * Settings as people write them: any text is read or refused; what is read can be written and read again
 * as the same; and what it makes of the library's regions is fit for the shell, portal addresses
 * included.
 */
#include "input.hpp"
#include "oracle.hpp"
#include "settings/settings.hpp"
#include "world.hpp"

using namespace fuzz;

namespace {

template <typename Region>
void apply(const std::optional<Region>& region, int32_t (*set)(const Region*)) {
  if (region) {
    check(set(&*region) == 0, "the library takes what the reader took");
  }
}

void apply_all(const settings::Settings& wanted) {
  start_process();
  gl3_web_set_fw_status(1);
  world.texts_are_checked = true;
  apply(wanted.ip_filter, gl3_web_set_firewall_cfg);
  apply(wanted.ip6_filter, gl3_web_set_firewall6_cfg);
  apply(wanted.url_filter, gl3_web_set_url_cfg);
  apply(wanted.mac_filter, gl3_web_set_mac_cfg);
  apply(wanted.mac6_filter, gl3_web_set_mac6_cfg);
  apply(wanted.dhcp_filter, gl3_web_set_dhcp_cfg);
  apply(wanted.acl, gl3_web_set_acl_cfg);
  apply(wanted.captive_portal, gl3_web_set_caporl_cfg);
  apply(wanted.route_qos_rules, gl3_web_set_route_qos);
  check(world.commands.size() <= most_commands(), "no settings make more commands");
}

template <typename Region>
bool same_bytes(const std::optional<Region>& one, const std::optional<Region>& other) {
  return one.has_value() == other.has_value() &&
         (!one || memcmp(&*one, &*other, sizeof(Region)) == 0);
}

void check_same_regions(const settings::Settings& one, const settings::Settings& other) {
  check(same_bytes(one.ip_filter, other.ip_filter) && same_bytes(one.ip6_filter, other.ip6_filter),
        "the IP filters stay the same");
  check(same_bytes(one.url_filter, other.url_filter), "the URL filter stays the same");
  check(same_bytes(one.mac_filter, other.mac_filter) &&
            same_bytes(one.mac6_filter, other.mac6_filter) &&
            same_bytes(one.dhcp_filter, other.dhcp_filter),
        "the filters of MAC addresses stay the same");
  check(same_bytes(one.acl, other.acl), "the access list stays the same");
  check(same_bytes(one.captive_portal, other.captive_portal), "the portal stays the same");
  check(same_bytes(one.route_qos_rules, other.route_qos_rules), "route QoS stays the same");
}

/* The level is written as the two switches that it stands for. */
void check_same_switches(const settings::Settings& one, const settings::Settings& other) {
  check(one.firewall == other.firewall && one.port_scan_protection == other.port_scan_protection,
        "firewall and port scan protection stay the same");
  check(one.ipsec_pass_through == other.ipsec_pass_through &&
            one.vpn_pass_through == other.vpn_pass_through,
        "what passes through stays the same");
  check(one.route_qos_enabled == other.route_qos_enabled, "the QoS switch stays the same");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text = Input(data, size).rest();
  const settings::Reading reading = settings::read(text);
  for (const settings::Problem& error : reading.errors) {
    const std::string problem = to_text(error, "input");
    check(error.line > 0, "a problem names its line", problem);
    check(problem.size() < 1000, "and is no longer than a person reads", problem);
  }
  if (!reading.errors.empty()) {
    return 0;
  }
  const std::string written = settings::write(reading.settings);
  const settings::Reading again = settings::read(written);
  check(again.errors.empty(), "what is written is read", written);
  check(settings::write(again.settings) == written, "and written again as the same", written);
  check_same_regions(reading.settings, again.settings);
  check_same_switches(reading.settings, again.settings);
  apply_all(reading.settings);
  return 0;
}
