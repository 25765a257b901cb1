#include "management/store/sections.hpp"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <type_traits>

#include "l3_advance/l3_advance.h"
#include "management/store/setters.hpp"
#include "management/store/time_zone_file.hpp"
#include "settings/local_span.hpp"
#include "settings/sections.hpp"

namespace management {

namespace {

using settings::SecurityLevel;
using settings::Settings;

/* A region is compared byte for byte, as the library compares it; anything else by value. */
template <typename Value>
bool same(const Value& a, const Value& b) {
  if constexpr (std::is_class_v<Value>) {
    return std::memcmp(&a, &b, sizeof a) == 0;
  } else {
    return a == b;
  }
}

template <typename Value>
Bytes bytes_of(const Value& value) {
  Bytes bytes(sizeof value);
  std::memcpy(bytes.data(), &value, sizeof value);
  return bytes;
}

using Set = int32_t (*)(const Settings& wanted);

/* What any member of the settings has in common. */
template <auto Member>
constexpr Section section(const char* name, Set set) {
  return {
      .name = name,
      .key = name,
      .is_wanted = [](const Settings& wanted) { return (wanted.*Member).has_value(); },
      .differs = [](const Settings& wanted,
                    const Settings& stored) { return !same(*(wanted.*Member), *(stored.*Member)); },
      .set = set,
      .leave_out = [](Settings& wanted) { (wanted.*Member).reset(); },
      .overlay = [](Settings& stored, const Settings& wanted) { stored.*Member = wanted.*Member; },
      .load = nullptr,
      .set_default = nullptr,
      .image = nullptr,
      .set_image = nullptr,
      .list = nullptr};
}

/* The same for a member that is stored. */
template <auto Member>
constexpr Section stored_section(const char* name, Set set) {
  Section row = section<Member>(name, set);
  row.image = [](const Settings& settings) { return bytes_of(*(settings.*Member)); };
  row.set_image = [](Settings& settings, const Bytes& image) {
    auto& place = (settings.*Member).emplace();
    if (image.size() != sizeof place) {
      return false;
    }
    std::memcpy(&place, image.data(), image.size());
    return true;
  };
  return row;
}

/* A list whose entries have spans. In local time two spans can be the same that UTC tells apart: 23:59 is also what a
 * stored end of 24:00 comes to. */
template <auto Member>
constexpr Section with_spans(Section row) {
  row.differs = [](const Settings& wanted, const Settings& stored) {
    auto a = *(wanted.*Member);
    auto b = *(stored.*Member);
    if (span_offset(stored)) {
      settings::unify_spans(a.entries);
      settings::unify_spans(b.entries);
    }
    return !same(a, b);
  };
  return row;
}

template <typename Word>
Word word_of(int32_t (*)(Word*));

/* A switch: how it is read, what it is on a new gateway, how it is set. */
template <auto Member, auto Get, bool Default>
constexpr Section switch_section(const char* name, Set set) {
  Section row = stored_section<Member>(name, set);
  row.load = [](Settings& stored) {
    decltype(word_of(Get)) word = 0;
    const int32_t result = Get(&word);
    stored.*Member = word != 0;
    return result;
  };
  row.set_default = [](Settings& settings) { settings.*Member = Default; };
  return row;
}

/* A region image, which the library hands out and takes whole. */
template <auto Member, auto Get, auto Put>
constexpr Section region_section(const char* name, const SectionList* list = nullptr) {
  Section row =
      stored_section<Member>(name, [](const Settings& wanted) { return Put(&*(wanted.*Member)); });
  row.load = [](Settings& stored) { return Get(&(stored.*Member).emplace()); };
  row.set_default = [](Settings& settings) { (settings.*Member).emplace(); };
  row.list = list;
  return row;
}

/* A list: its key, its switch (`On` is the word that switches it on), the library's table that holds it in memory,
 * its generator, and how an empty list gets the rules that close it. */
template <auto Member, auto Switch, uint32_t On, auto Memory, auto Generate, auto Close>
constexpr SectionList list_of(const char* entries) {
  using Region = std::remove_reference_t<decltype(Memory())>;
  constexpr size_t capacity = std::size(decltype(Region::entries){});
  return {.entries = entries,
          .capacity = capacity,
          .used = [](const Settings& s) { return settings::used_entries(*(s.*Member)).size(); },
          .is_on = [](const Settings& s) { return (((*(s.*Member)).*Switch) != 0) == (On != 0); },
          .enable = [](Settings& s, bool on) { (*(s.*Member)).*Switch = on == (On != 0) ? 1 : 0; },
          .generate = Generate,
          .used_in_memory = [] { return settings::used_entries(Memory()).size(); },
          .memory = [] { return bytes_of(Memory()); },
          .set_memory =
              [](const Bytes& image) { std::memcpy(&Memory(), image.data(), sizeof(Region)); },
          .keep_only =
              [](size_t entry) {
                Memory().entries[0] = Memory().entries[entry];
                Memory().count = 1;
              },
          .close =
              [] {
                Memory() = Region{};
                return static_cast<size_t>(Close(Memory()));
              }};
}

/* An empty white list is closed. */
template <auto... Modes>
constexpr auto white_list = [](auto& region) {
  ((region.*Modes = 1), ...);
  return 0;
};

/* The access list closes a direction that has an entry. */
constexpr auto both_directions = [](l3_acl& acl) {
  acl.count = 2;
  acl.entries[0].allocated = acl.entries[1].allocated = acl.entries[1].direction = 1;
  return acl.count;
};

constexpr SectionList ip_rules = list_of < &Settings::ip_filter, &l3_ip_filter::ip_filter_ctrl, 0,
                      []() -> auto & {
  return fw_rules_table.ip_filter;
}
, config_fw_ip, white_list < &l3_ip_filter::us_black_white,
    &l3_ip_filter::ds_black_white >> ("rules");
constexpr SectionList ip6_rules = list_of < &Settings::ip6_filter, &l3_ip6_filter::ip_filter_ctrl,
                      0, []() -> auto & {
  return fw6_rules_table.ip_filter;
}
, config_fw6_ip, white_list < &l3_ip6_filter::us_black_white,
    &l3_ip6_filter::ds_black_white >> ("rules");
constexpr SectionList url_entries = list_of < &Settings::url_filter,
                      &l3_url_filter::url_filter_ctrl, 1, []() -> auto & {
  return fw_rules_table.url_filter;
}
, config_fw_url, white_list < &l3_url_filter::url_black_white >> ("entries");
constexpr SectionList mac_devices = list_of < &Settings::mac_filter,
                      &l3_mac_filter::mac_filter_ctrl, 1, []() -> auto & {
  return fw_rules_table.mac_filter;
}
, config_fw_mac, white_list < &l3_mac_filter::mac_black_white >> ("devices");
constexpr SectionList mac6_devices = list_of < &Settings::mac6_filter,
                      &l3_mac_filter::mac_filter_ctrl, 1, []() -> auto & {
  return fw6_rules_table.mac_filter;
}
, config_fw6_mac, white_list < &l3_mac_filter::mac_black_white >> ("devices");
constexpr SectionList dhcp_devices = list_of < &Settings::dhcp_filter,
                      &l3_dhcp_filter::dhcp_mac_filter_ctrl, 1, []() -> auto & {
  return fw_rules_table.dhcp_filter;
}
, config_fw_dhcp, white_list < &l3_dhcp_filter::dhcp_black_white >> ("devices");
constexpr SectionList acl_entries = list_of < &Settings::acl, &l3_acl::acl_filter_ctrl, 1,
                      []() -> auto & {
  return fw_rules_table.acl;
}
, config_fw_acl, both_directions > ("entries");
constexpr SectionList portal_destinations = list_of < &Settings::captive_portal,
                      &l3_caporl::caporl_filter_ctrl, 1, []() -> auto & {
  return fw_rules_table.caporl;
}
, config_fw_caporl, white_list < >> ("destinations");

constexpr Section with_key(const char* key, Section row) {
  row.key = key;
  return row;
}

/* The level stands for the master switch and port-scan protection; off says nothing of the latter. */
constexpr Section security_level() {
  Section row = section<&Settings::security_level>("security_level", [](const Settings& s) {
    return set_security_level(static_cast<int32_t>(*s.security_level));
  });
  row.differs = [](const Settings& wanted, const Settings& stored) {
    const bool on = *wanted.security_level != SecurityLevel::off;
    const bool scan = *wanted.security_level == SecurityLevel::high;
    return on != *stored.firewall || (on && scan != *stored.port_scan_protection);
  };
  row.overlay = [](Settings& stored, const Settings& wanted) {
    stored.security_level = wanted.security_level;
    stored = level_as_switches(stored);
  };
  return row;
}

/* Lies beside the records. */
constexpr Section time_zone() {
  Section row = section<&Settings::time_zone>(
      "time_zone", [](const Settings& wanted) { return store_time_zone(*wanted.time_zone); });
  row.differs = [](const Settings& wanted, const Settings& stored) {
    return !same_zone(*wanted.time_zone, stored.time_zone.value_or(settings::TimeZone()));
  };
  row.load = [](Settings& stored) {
    stored.time_zone = time_zone_to_show();
    return 0;
  };
  row.set_default = [](Settings& settings) { settings.time_zone = time_zone_to_show(); };
  return row;
}

constexpr Section table[] = {
    time_zone(),
    // The master switch first: everything that follows makes rules only while it is on.
    security_level(),
    switch_section<&Settings::firewall, gl3_web_get_fw_status, false>(
        "firewall", [](const Settings& s) { return set_firewall(*s.firewall); }),
    switch_section<&Settings::port_scan_protection, gl3_web_get_anti_port_scan, false>(
        "port_scan_protection",
        [](const Settings& s) { return set_port_scan_protection(*s.port_scan_protection); }),
    switch_section<&Settings::ipsec_pass_through, gl3_web_get_ipsec_pass_ctrl, true>(
        "ipsec_pass_through",
        [](const Settings& s) {
          return gl3_web_set_ipsec_pass_ctrl(*s.ipsec_pass_through ? 1 : 0);
        }),
    // The getter that the platform answers would tell it the stored state; this one only looks.
    switch_section<&Settings::vpn_pass_through, get_vpn_pass_through_state_from_cfgfile, false>(
        "vpn_pass_through",
        [](const Settings& s) { return set_vpn_pass_through(*s.vpn_pass_through); }),
    region_section<&Settings::ip_filter, gl3_web_get_firewall_cfg, gl3_web_set_firewall_cfg>(
        "ip_filter", &ip_rules),
    region_section<&Settings::ip6_filter, gl3_web_get_firewall6_cfg, gl3_web_set_firewall6_cfg>(
        "ip6_filter", &ip6_rules),
    with_spans<&Settings::url_filter>(
        region_section<&Settings::url_filter, gl3_web_get_url_cfg, gl3_web_set_url_cfg>(
            "url_filter", &url_entries)),
    with_spans<&Settings::mac_filter>(
        region_section<&Settings::mac_filter, gl3_web_get_mac_cfg, gl3_web_set_mac_cfg>(
            "mac_filter", &mac_devices)),
    with_spans<&Settings::mac6_filter>(
        region_section<&Settings::mac6_filter, gl3_web_get_mac6_cfg, gl3_web_set_mac6_cfg>(
            "mac6_filter", &mac6_devices)),
    region_section<&Settings::acl, gl3_web_get_acl_cfg, gl3_web_set_acl_cfg>("acl", &acl_entries),
    region_section<&Settings::captive_portal, gl3_web_get_caporl_cfg, gl3_web_set_caporl_cfg>(
        "captive_portal", &portal_destinations),
    // After the master switch: turning that empties the chain, and nothing else refills it.
    region_section<&Settings::dhcp_filter, gl3_web_get_dhcp_cfg, gl3_web_set_dhcp_cfg>(
        "dhcp_filter", &dhcp_devices),
    // The switch first: with the switch off, setting the rules empties the table in memory.
    with_key("route_qos_enabled",
             switch_section<&Settings::route_qos_enabled, gl3_web_get_route_qos_control, false>(
                 "route_qos",
                 [](const Settings& s) {
                   return gl3_web_set_route_qos_control(*s.route_qos_enabled ? 1 : 0);
                 })),
    with_key(
        "route_qos_rules",
        region_section<&Settings::route_qos_rules, gl3_web_get_route_qos, gl3_web_set_route_qos>(
            "route_qos")),
};

}  // namespace

std::span<const Section> sections() {
  return table;
}

const Section& section_named(std::string_view name) {
  return *std::find_if(std::begin(table), std::end(table) - 1,
                       [&](const Section& one) { return name == one.name; });
}

Settings level_as_switches(Settings settings) {
  if (settings.security_level) {
    settings.firewall = *settings.security_level != SecurityLevel::off;
    if (*settings.firewall) {
      settings.port_scan_protection = *settings.security_level == SecurityLevel::high;
    }
    settings.security_level.reset();
  }
  return settings;
}

const char* level_of(const Settings& stored) {
  if (!*stored.firewall) {
    return "off";
  }
  return *stored.port_scan_protection ? "high" : "low";
}

}  // namespace management
