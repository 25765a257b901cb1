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

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text = Input(data, size).rest();
  const settings::Reading reading = settings::read(text, "input");
  for (const std::string& problem : reading.errors) {
    check(problem.starts_with("input:"), "a problem names the text", problem);
    check(problem.size() < 1000, "and is no longer than a person reads", problem);
  }
  if (!reading.errors.empty()) {
    return 0;
  }
  const std::string written = settings::write(reading.settings);
  const settings::Reading again = settings::read(written, "input");
  check(again.errors.empty(), "what is written is read", written);
  check(settings::write(again.settings) == written, "and written again as the same", written);
  apply_all(reading.settings);
  return 0;
}
