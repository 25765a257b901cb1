#include "settings/lint.hpp"

#include <algorithm>
#include <span>
#include <string>
#include <utility>

#include "settings/local_span.hpp"
#include "settings/sections.hpp"

namespace settings {

namespace {

constexpr uint32_t tcp = 6;
constexpr uint32_t udp = 17;
constexpr uint32_t web_port = 80;
constexpr uint32_t dns_port = 53;
constexpr char drops_answers[] =
    "a white list drops the answers to the LAN's own connections too, unless a rule accepts them";

/* Collects the warnings. */
class Warner {
 public:
  void warn(const std::string& path, const std::string& what) {
    warnings_.push_back({.path = path, .what = what});
  }
  void warn_lock_out(const std::string& path, const std::string& what) {
    warnings_.push_back({.path = path, .what = what, .locks_out = true});
  }
  std::vector<Problem> take() { return std::move(warnings_); }

 private:
  std::vector<Problem> warnings_;
};

/* Spans that mean something else than they seem to; the packet filter takes both. */
template <typename Filter>
void warn_of_spans(Warner& warner, const char* section, const char* list, const Filter& filter,
                   std::optional<int> offset) {
  const auto entries = used_entries(filter);
  for (size_t i = 0; i < entries.size(); ++i) {
    const TimeSpan stored = span_of(entries[i]);
    const TimeSpan span = offset ? to_local(stored, *offset) : stored;
    const std::string path = item_path(std::string(section) + "." + list, i) + ".active";
    const int start = span.start_hour * 60 + span.start_minute;
    const int stop = span.stop_hour >= 24 ? 23 * 60 + 59 : span.stop_hour * 60 + span.stop_minute;
    if (start == stop) {
      warner.warn(path, "starts where it ends, which is the whole day");
    } else if (start > stop && !offset) {
      // In local time a span past midnight is what it seems to be.
      warner.warn(path, "goes past midnight, UTC, into the next day");
    }
  }
}

/* Whether an upstream rule takes packets of this protocol to this port. */
bool takes(const l3_ip_filter_entry& rule, uint32_t protocol, uint32_t port) {
  const bool every_port = rule.dst_port_s == 0 || rule.dst_port_e == 0;
  return rule.direction == 0 && (rule.protocol == 0 || rule.protocol == protocol) &&
         (rule.protocol == 0 || every_port || (rule.dst_port_s <= port && port <= rule.dst_port_e));
}

/* An ACCEPT is final: what the first white list lets through meets no later filter. */
void warn_of_upstream_accepts(Warner& warner, const Settings& settings) {
  const l3_ip_filter& filter = *settings.ip_filter;
  if (filter.ip_filter_ctrl != 0 || filter.us_black_white == 0) {
    return;
  }
  const bool url = settings.url_filter && settings.url_filter->url_filter_ctrl != 0;
  const bool mac = settings.mac_filter && settings.mac_filter->mac_filter_ctrl != 0;
  const bool portal = settings.captive_portal && settings.captive_portal->caporl_filter_ctrl != 0;
  const auto rules = used_entries(filter);
  for (size_t i = 0; i < rules.size(); ++i) {
    const std::string path = item_path("ip_filter.rules", i);
    if (url && takes(rules[i], udp, dns_port)) {
      warner.warn(path, "accepts look-ups of names before url_filter sees them");
    }
    if (mac && rules[i].direction == 0) {
      warner.warn(path, "accepts packets before mac_filter sees them");
    }
    if (portal && takes(rules[i], tcp, web_port)) {
      warner.warn(path, "accepts web requests before captive_portal sees them");
    }
  }
}

/* Whether a packet can meet the rule: one with an open IPv6 address stands for "::" itself. */
bool can_match(const l3_ip_filter_entry&) {
  return true;
}

bool can_match(const l3_ip6_filter_entry& rule) {
  const auto is_open = [](std::span<const uint8_t, 16> address) {
    return std::all_of(address.begin(), address.end(), [](uint8_t byte) { return byte == 0; });
  };
  return !is_open(rule.src_ip) && !is_open(rule.dst_ip);
}

/* A white list drops what no rule accepts. It has no state, so downstream it also drops the
 * answers to what the LAN asked. */
template <typename Filter>
void warn_of_closed_directions(Warner& warner, const std::string& section, const char* family,
                               const Filter& filter) {
  if (filter.ip_filter_ctrl != 0) {
    return;
  }
  const auto rules = used_entries(filter);
  const auto has_rule = [&](uint32_t direction) {
    return std::any_of(rules.begin(), rules.end(), [&](const auto& rule) {
      return (rule.direction == 0) == (direction == 0) && can_match(rule);
    });
  };
  if (filter.us_black_white != 0 && !has_rule(0)) {
    warner.warn_lock_out(section + ".upstream",
                         std::string("a white list without a rule that accepts anything: nothing "
                                     "from the LAN reaches the Internet over ") +
                             family);
  }
  if (filter.ds_black_white != 0 && !has_rule(1)) {
    warner.warn_lock_out(section + ".downstream", drops_answers);
  } else if (filter.ds_black_white != 0) {
    warner.warn(section + ".downstream", drops_answers);
  }
}

template <typename Entries, typename IsEnabled>
bool none_enabled(const Entries& entries, IsEnabled is_enabled) {
  return std::none_of(entries.begin(), entries.end(), is_enabled);
}

void warn_of_empty_url_filter(Warner& warner, const l3_url_filter& filter) {
  const bool is_white_list = filter.url_filter_ctrl != 0 && filter.url_black_white != 0;
  if (is_white_list && none_enabled(used_entries(filter), [](const l3_url_entry& entry) {
        return entry.url_enable != 0;
      })) {
    warner.warn_lock_out(
        "url_filter.entries",
        "a white list without an enabled name: every DNS query over IPv4 that the "
        "LAN sends through the gateway is dropped, so no host is found by its name");
  }
}

void warn_of_empty_mac_filter(Warner& warner, const std::string& section, const char* family,
                              const l3_mac_filter& filter) {
  const bool is_white_list = filter.mac_filter_ctrl != 0 && filter.mac_black_white == 1;
  if (is_white_list && none_enabled(used_entries(filter), [](const l3_mac_entry& entry) {
        return entry.mac_enable != 0;
      })) {
    warner.warn_lock_out(section + ".devices",
                         std::string("a white list without an enabled device: no device of the LAN "
                                     "reaches the Internet over ") +
                             family);
  }
}

void warn_of_empty_dhcp_filter(Warner& warner, const l3_dhcp_filter& filter) {
  if (filter.dhcp_mac_filter_ctrl != 0 && filter.dhcp_black_white == 1 && filter.count <= 0) {
    warner.warn_lock_out("dhcp_filter.devices",
                         "a white list without a device: no device gets an address from the "
                         "gateway's DHCP server");
  }
}

void warn_of_empty_portal(Warner& warner, const l3_caporl& portal) {
  if (portal.caporl_filter_ctrl != 0 &&
      none_enabled(used_entries(portal),
                   [](const l3_caporl_entry& entry) { return entry.caporl_enable != 0; })) {
    warner.warn_lock_out("captive_portal.destinations",
                         "none is enabled: every web request of the LAN (TCP port 80 over IPv4) is "
                         "dropped");
  }
}

constexpr uint32_t every_service = 0;
constexpr uint32_t web_service = 1;
constexpr uint32_t ping_service = 5;

/* "web", "web and ping", "web, ftp and ping" */
std::string in_a_row(const std::vector<std::string>& names) {
  std::string text;
  for (size_t i = 0; i < names.size(); ++i) {
    text += (i == 0 ? "" : i + 1 == names.size() ? " and " : ", ") + names[i];
  }
  return text;
}

/* Which services of the list the entries in use of a side open, and which they close. */
struct Access {
  std::vector<std::string> open;
  std::vector<std::string> closed;
  bool has_entries = false;
  bool closes_web = false;
  bool closes_ping = false;
};

Access access_of(const l3_acl& acl, bool from_wan) {
  Access access;
  std::vector<uint32_t> opened;
  for (const l3_acl_entry& entry : used_entries(acl)) {
    if (entry.allocated != 0 && (entry.direction != 0) == from_wan) {
      access.has_entries = true;
      opened.push_back(entry.app_type);
    }
  }
  const auto opens = [&](uint32_t service) {
    return std::find(opened.begin(), opened.end(), service) != opened.end();
  };
  for (const Word& service : services) {
    if (service.value != every_service) {
      const bool is_open = opens(every_service) || opens(service.value);
      (is_open ? access.open : access.closed).emplace_back(service.text);
    }
  }
  access.closes_web = access.has_entries && !opens(every_service) && !opens(web_service);
  access.closes_ping = access.has_entries && !opens(every_service) && !opens(ping_service);
  return access;
}

/* A side with an entry is shut to the services that no entry of it opens; IPv6 meets no access list. */
void warn_of_closed_services(Warner& warner, const Access& access, const std::string& side) {
  if (access.closes_web || access.closes_ping) {
    warner.warn_lock_out("acl.entries",
                         (access.open.empty() ? "nothing" : in_a_row(access.open) + " alone") +
                             (access.open.size() > 1 ? " are" : " is") + " open to the " + side +
                             "; " + in_a_row(access.closed) + " from the " + side +
                             " to the gateway " + (access.closed.size() > 1 ? "are" : "is") +
                             " closed over IPv4");
  }
}

void warn_of_access(Warner& warner, const l3_acl& acl) {
  if (acl.acl_filter_ctrl == 0) {
    return;
  }
  warn_of_closed_services(warner, access_of(acl, false), "LAN");
  const Access from_wan = access_of(acl, true);
  warn_of_closed_services(warner, from_wan, "WAN");
  if (from_wan.closes_ping) {
    warner.warn("acl.entries",
                "none takes ping from the wan, so the gateway's own pings get no answers");
  }
}

}  // namespace

std::vector<Problem> warn_ineffective(const Settings& settings, std::optional<int> span_offset) {
  Warner warner;
  if (settings.ip_filter) {
    warn_of_upstream_accepts(warner, settings);
    warn_of_closed_directions(warner, "ip_filter", "IPv4", *settings.ip_filter);
  }
  if (settings.ip6_filter) {
    warn_of_closed_directions(warner, "ip6_filter", "IPv6", *settings.ip6_filter);
  }
  if (settings.url_filter) {
    warn_of_spans(warner, "url_filter", "entries", *settings.url_filter, span_offset);
    warn_of_empty_url_filter(warner, *settings.url_filter);
  }
  if (settings.mac_filter) {
    warn_of_spans(warner, "mac_filter", "devices", *settings.mac_filter, span_offset);
    warn_of_empty_mac_filter(warner, "mac_filter", "IPv4", *settings.mac_filter);
  }
  if (settings.mac6_filter) {
    warn_of_spans(warner, "mac6_filter", "devices", *settings.mac6_filter, span_offset);
    warn_of_empty_mac_filter(warner, "mac6_filter", "IPv6", *settings.mac6_filter);
  }
  if (settings.dhcp_filter) {
    warn_of_empty_dhcp_filter(warner, *settings.dhcp_filter);
  }
  if (settings.captive_portal) {
    warn_of_empty_portal(warner, *settings.captive_portal);
  }
  const bool portal = settings.captive_portal && settings.captive_portal->caporl_filter_ctrl != 0;
  if (portal && settings.mac_filter && settings.mac_filter->mac_filter_ctrl != 0 &&
      settings.mac_filter->mac_black_white == 1) {
    warner.warn("mac_filter.mode",
                "a white list accepts its devices before captive_portal sees their requests");
  }
  if (settings.acl) {
    warn_of_access(warner, *settings.acl);
  }
  return warner.take();
}

}  // namespace settings
