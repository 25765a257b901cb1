#include "left_behind.hpp"

#include <cstring>

#include "run.hpp"
#include "sample_config.hpp"
#include "subprocess.hpp"

using namespace harness;
using namespace scenarios;

namespace {

/* What a get call hands out, beside where it lies in the file. */
template <typename Object>
void expect_stored(const std::string& file, size_t offset, int32_t (*get)(Object*)) {
  static Object object;
  memset(static_cast<void*>(&object), 0xee, sizeof(object));
  int32_t result = 99;
  static_cast<void>(record([&] { result = get(&object); }));
  EXPECT_EQ(result, 0) << "byte " << offset;
  EXPECT_TRUE(bytes_of(object) == file.substr(offset, sizeof(object))) << "byte " << offset;
}

void expect_switch(bool on, int32_t (*get)(uint8_t*)) {
  uint8_t state = 9;
  static_cast<void>(record([&] { EXPECT_EQ(get(&state), 0); }));
  EXPECT_EQ(state, on ? 1 : 0);
}

}  // namespace

void expect_readable(const device::Files& left) {
  const auto found = left.find(device::config);
  // A missing file is created by the first that reads.
  std::string file = found == left.end() ? fresh_config_file() : found->second;
  file.resize(15019);
  expect_stored(file, ip_filter.begin, gl3_web_get_firewall_cfg);
  expect_stored(file, url_filter.begin, gl3_web_get_url_cfg);
  expect_stored(file, ipsec_pass.begin, gl3_web_get_ipsec_pass_ctrl);
  expect_stored(file, mac_filter.begin, gl3_web_get_mac_cfg);
  expect_stored(file, dhcp_filter.begin, gl3_web_get_dhcp_cfg);
  expect_stored(file, acl.begin, gl3_web_get_acl_cfg);
  expect_stored(file, caporl.begin, gl3_web_get_caporl_cfg);
  expect_stored(file, route_qos.begin, gl3_web_get_route_qos_control);
  expect_stored(file, route_qos.begin + 4, gl3_web_get_route_qos);
  expect_stored(file, ip6_filter.begin, gl3_web_get_firewall6_cfg);
  expect_stored(file, mac6_filter.begin, gl3_web_get_mac6_cfg);
  expect_switch(word_at(file, anti_port_scan.begin) != 0, gl3_web_get_anti_port_scan);
  expect_switch(file.substr(17, 2) == "1\n", gl3_web_get_vpn_pass_through);
  expect_switch(file.substr(29, 2) == "1\n", gl3_web_get_fw_status);
  int32_t seen = 9;
  static_cast<void>(record([&] { EXPECT_EQ(gl3_web_get_fw_security_level(&seen), 0); }));
  EXPECT_TRUE(seen >= 0 && seen <= 2) << seen;
}

Works works(const Scenario& scenario) {
  start_until_saved();
  const Reply reply = in_subprocess([&] {
    device::plug_in();
    static_cast<void>(start());
    device::load_stored();
    int32_t result = 99;
    static_cast<void>(record([&] { result = scenario.repeatable ? scenario.act() : 0; }));
    const device::Files stored = device::files();
    static_cast<void>(record([] { EXPECT_EQ(gl3_web_set_fw_status(1), 0); }));
    device::put(stored);
    return Lines{std::to_string(result), device::kernel.text()};
  });
  EXPECT_EQ(reply.status, 0) << "the device does not work";
  if (reply.lines.size() != 2) {
    return {};
  }
  return {std::stoi(reply.lines[0]), settings_of(device::files()), reply.lines[1]};
}
