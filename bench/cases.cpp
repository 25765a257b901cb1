#include "cases.hpp"

#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "images.hpp"
#include "l3_advance/l3_advance.h"

namespace bench {

namespace {

constexpr const char* save_files[] = {"/ztcfg/firewall.conf", "/ztcfg/firewall6.conf"};
constexpr int32_t most_entries = 50;

/* A gateway out of the box: no file, no rule. */
void start_anew() {
  for (const char* file : save_files) {
    unlink(file);
  }
  unlink("/ztcfg/l3_advance.dat");
  str_system("iptables -F; iptables -X; ip6tables -F; ip6tables -X");
  init_cfgfile();
}

/* The gateway is up, its settings stored, the firewall off: the tree alone is in the kernel. */
void start_with(const std::function<void()>& settings) {
  start_anew();
  settings();
  set_firewall_rules_to_cfgfile();
  load_stored();
  gl3_web_init_fw();
}

/* The same, with the firewall on. */
void run_with(const std::function<void()>& settings) {
  start_with(settings);
  gl3_web_set_fw_status(1);
}

/* Power has gone and come: files are there, no rule is. Commands that do nothing leave no save
 * file, so an empty one stands for it. */
void restart_with(const std::function<void()>& settings) {
  run_with(settings);
  for (const char* file : save_files) {
    std::ofstream(file, std::ios::app).flush();
  }
  str_system("iptables -F; iptables -X; ip6tables -F; ip6tables -X");
  fw_rules_table = {};
  fw6_rules_table = {};
}

template <typename Region>
struct Filter {
  const char* name;
  Region (*image)(int32_t entries);
  int32_t (*set)(const Region* region);
  Region* stored;
};

/* From one entry to `entries`; 0 empties the list. */
template <typename Region>
Case set_case(const Filter<Region>& filter, int32_t entries) {
  Region image = filter.image(entries);
  Region earlier = filter.image(1);
  earlier.entries[0] = filter.image(2).entries[1];
  return {std::string(filter.name) + " " + std::to_string(image.count),
          [filter, earlier] { run_with([&] { *filter.stored = earlier; }); },
          [filter, image] { return filter.set(&image); }};
}

/* One entry more than `entries`, one of them changed in the middle, and one deleted there. Where the list is
 * full, the last one is added. */
void add_one_entry_cases(std::vector<Case>& all, const Filter<l3_ip_filter>& filter,
                         int32_t entries) {
  const l3_ip_filter list = filter.image(entries);
  const int32_t middle = entries / 2;
  l3_ip_filter changed = list;
  changed.entries[middle].protocol = list.entries[middle].protocol == 6 ? 17 : 6;
  l3_ip_filter shorter = list;
  for (int32_t place = middle; place + 1 < entries; ++place) {
    shorter.entries[place] = list.entries[place + 1];
  }
  shorter.entries[entries - 1] = {};
  shorter.count = static_cast<uint32_t>(entries - 1);
  const int32_t more = entries < most_entries ? entries + 1 : entries;
  const auto add = [&](const char* step, const l3_ip_filter& from, const l3_ip_filter& to) {
    all.push_back({std::string(filter.name) + " " + step + " " + std::to_string(entries),
                   [filter, from] { run_with([&] { *filter.stored = from; }); },
                   [filter, to] { return filter.set(&to); }});
  };
  add("add one to", filter.image(more - 1), filter.image(more));
  add("change one of", list, changed);
  add("delete one of", list, shorter);
}

template <typename Region>
Case unchanged_case(const Filter<Region>& filter) {
  Region image = filter.image(most_entries);
  return {std::string(filter.name) + " unchanged",
          [filter, image] { run_with([&] { *filter.stored = image; }); },
          [filter, image] { return filter.set(&image); }};
}

template <typename Region>
void add_filter(std::vector<Case>& all, const Filter<Region>& filter) {
  for (const int32_t entries : {0, 10, most_entries}) {
    Case one = set_case(filter, entries);
    if (all.empty() || all.back().name != one.name) {
      all.push_back(one);
    }
  }
  all.push_back(unchanged_case(filter));
}

void add_gateway(std::vector<Case>& all, int32_t entries) {
  const std::string number = " " + std::to_string(entries);
  const auto settings = [entries] { fill_records(entries); };
  all.push_back({"boot" + number, [settings] { restart_with(settings); }, gl3_web_init_fw});
  all.push_back({"switch_on" + number, [settings] { start_with(settings); },
                 [] { return gl3_web_set_fw_status(1); }});
  all.push_back(
      {"factory_reset" + number, [settings] { run_with(settings); }, gl3_web_set_firewall_default});
}

}  // namespace

void load_stored() {
  uint8_t state = 0;
  gl3_web_get_fw_status(&state);
  get_firewall_rules_from_cfgfile();
}

std::vector<Case> cases() {
  std::vector<Case> all;
  l3_fw_rules& v4 = fw_rules_table;
  l3_fw6_rules& v6 = fw6_rules_table;
  add_filter<l3_ip_filter>(all, {"ip_filter", ip_filter, gl3_web_set_firewall_cfg, &v4.ip_filter});
  for (const int32_t entries : {1, 10, most_entries}) {
    add_one_entry_cases(all, {"ip_filter", ip_filter, gl3_web_set_firewall_cfg, &v4.ip_filter},
                        entries);
  }
  add_filter<l3_ip6_filter>(all,
                            {"ip6_filter", ip6_filter, gl3_web_set_firewall6_cfg, &v6.ip_filter});
  add_filter<l3_url_filter>(all, {"url_filter", url_filter, gl3_web_set_url_cfg, &v4.url_filter});
  add_filter<l3_mac_filter>(all, {"mac_filter", mac_filter, gl3_web_set_mac_cfg, &v4.mac_filter});
  add_filter<l3_mac_filter>(all, {"mac6_filter", mac_filter, gl3_web_set_mac6_cfg, &v6.mac_filter});
  add_filter<l3_dhcp_filter>(all,
                             {"dhcp_filter", dhcp_filter, gl3_web_set_dhcp_cfg, &v4.dhcp_filter});
  add_filter<l3_acl>(all, {"acl", acl, gl3_web_set_acl_cfg, &v4.acl});
  add_filter<l3_acl>(all, {"acl_ranges", acl_ranges, gl3_web_set_acl_cfg, &v4.acl});
  add_filter<l3_caporl>(all,
                        {"captive_portal", captive_portal, gl3_web_set_caporl_cfg, &v4.caporl});
  for (const int32_t entries : {0, 10, most_entries}) {
    add_gateway(all, entries);
  }
  return all;
}

}  // namespace bench
