/*
 * Any bytes parsed as a configuration file, in both byte orders: every field has its words, every
 * finding names its place, and in this host's order the values are those that the library reads.
 */
#include "settings/stored_file/stored_file.hpp"

#include <memory>

#include "input.hpp"
#include "oracle.hpp"
#include "world.hpp"

using namespace fuzz;
using settings::ByteOrder;
using settings::StoredFile;

namespace {

bool is_a_line(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; });
}

void check_findings(const StoredFile& file, size_t size) {
  for (const settings::StoredFinding& finding : file.findings) {
    check(!finding.where.empty() && !finding.what.empty(), "a finding says where and what",
          finding.where);
    check(is_a_line(finding.where) && is_a_line(finding.what), "in one line", finding.what);
    check(finding.offset <= std::max(size, settings::stored_size), "at a place of the file",
          finding.where);
  }
  check(file.findings.size() <= settings::stored_fields().size(), "not more than there are fields");
}

void check_fields(const StoredFile& file) {
  for (const settings::StoredField& field : settings::stored_fields()) {
    const std::string meaning = settings::meaning_of(field, file.image);
    check(is_a_line(meaning), "a value is one line", meaning);
  }
}

template <typename Region>
void check_region(const std::optional<Region>& told, int32_t (*get)(Region*)) {
  const auto got = std::make_unique<Region>();
  check(told && get(got.get()) == 0 && memcmp(got.get(), &*told, sizeof(Region)) == 0,
        "the library reads the same region");
}

void check_against_the_library(const StoredFile& file, const std::string& bytes) {
  start_process();
  world.files[config_path] = bytes;
  uint8_t state = 0;
  check(gl3_web_get_fw_status(&state) == 0 && (state == 1) == settings::firewall_of(file.image),
        "the library reads the same switch");
  check(get_vpn_pass_through_state_from_cfgfile(&state) == 0 &&
            (state == 1) == settings::vpn_of(file.image),
        "and the same line of VPN pass-through");

  const settings::Settings all = settings::settings_of(file);
  check_region(all.ip_filter, gl3_web_get_firewall_cfg);
  check_region(all.ip6_filter, gl3_web_get_firewall6_cfg);
  check_region(all.url_filter, gl3_web_get_url_cfg);
  check_region(all.mac_filter, gl3_web_get_mac_cfg);
  check_region(all.mac6_filter, gl3_web_get_mac6_cfg);
  check_region(all.dhcp_filter, gl3_web_get_dhcp_cfg);
  check_region(all.acl, gl3_web_get_acl_cfg);
  check_region(all.captive_portal, gl3_web_get_caporl_cfg);
  check_region(all.route_qos_rules, gl3_web_get_route_qos);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes = Input(data, size).rest();
  std::string whole = bytes;
  whole.resize(settings::stored_size);

  const ByteOrder host = settings::host_byte_order();
  const ByteOrder other = host == ByteOrder::little ? ByteOrder::big : ByteOrder::little;
  const StoredFile ours = settings::read_stored_file(bytes, host);
  const StoredFile theirs = settings::read_stored_file(bytes, other);
  check(ours.image == whole, "this host's order is left alone");
  check(settings::read_stored_file(theirs.image, other).image == whole,
        "turned twice, every word is as it was");
  check_findings(ours, size);
  check_findings(theirs, size);
  check_fields(ours);
  check_against_the_library(ours, bytes);
  return 0;
}
