#include "settings/lint.hpp"

#include <string>

#include "settings/sections.hpp"

namespace settings {

namespace {

constexpr uint32_t tcp = 6;
constexpr uint32_t udp = 17;
constexpr uint32_t web_port = 80;
constexpr uint32_t dns_port = 53;

/* Where warnings go. */
class Warner {
 public:
  Warner(const std::function<size_t(const std::string&)>& line_of, Problems& problems)
      : line_of_(line_of), problems_(problems) {}

  void warn(const std::string& path, const std::string& what) const {
    problems_.warn(line_of_(path), path, what);
  }

 private:
  const std::function<size_t(const std::string&)>& line_of_;
  Problems& problems_;
};

/* Spans that say other than they seem; both are taken by the packet filter. */
template <typename Filter>
void warn_of_spans(const Warner& warner, const char* section, const char* list,
                   const Filter& filter) {
  const auto entries = used_entries(filter);
  for (size_t i = 0; i < entries.size(); ++i) {
    const TimeSpan span{entries[i].start_hour, entries[i].start_minute, entries[i].stop_hour,
                        entries[i].stop_minute};
    const std::string path = item_path(std::string(section) + "." + list, i) + ".active";
    const int start = span.start_hour * 60 + span.start_minute;
    const int stop = span.stop_hour >= 24 ? 23 * 60 + 59 : span.stop_hour * 60 + span.stop_minute;
    if (start == stop) {
      warner.warn(path, "starts where it ends, which is the whole day");
    } else if (start > stop) {
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
void warn_of_upstream_accepts(const Warner& warner, const Settings& settings) {
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

/* White lists have no state: they also stop answers to what the other side asked. */
template <typename Filter>
void warn_of_answers(const Warner& warner, const char* section, const Filter& filter) {
  if (filter.ip_filter_ctrl == 0 && filter.ds_black_white != 0) {
    warner.warn(std::string(section) + ".downstream",
                "a white list drops the answers to the LAN's own connections too, unless a rule "
                "accepts them");
  }
}

void warn_of_access(const Warner& warner, const l3_acl& acl) {
  constexpr uint32_t everything = 0;
  constexpr uint32_t ping = 5;
  bool from_wan = false;
  bool ping_from_wan = false;
  for (const l3_acl_entry& entry : used_entries(acl)) {
    const bool counts = entry.allocated != 0 && entry.direction != 0;
    from_wan = from_wan || counts;
    ping_from_wan =
        ping_from_wan || (counts && (entry.app_type == everything || entry.app_type == ping));
  }
  if (acl.acl_filter_ctrl != 0 && from_wan && !ping_from_wan) {
    warner.warn("acl.entries",
                "none takes ping from the wan, so the gateway's own pings get no answers");
  }
}

}  // namespace

void warn_of_effects(const Settings& settings,
                     const std::function<size_t(const std::string&)>& line_of, Problems& problems) {
  const Warner warner(line_of, problems);
  if (settings.ip_filter) {
    warn_of_upstream_accepts(warner, settings);
    warn_of_answers(warner, "ip_filter", *settings.ip_filter);
  }
  if (settings.ip6_filter) {
    warn_of_answers(warner, "ip6_filter", *settings.ip6_filter);
  }
  if (settings.url_filter) {
    warn_of_spans(warner, "url_filter", "entries", *settings.url_filter);
  }
  if (settings.mac_filter) {
    warn_of_spans(warner, "mac_filter", "devices", *settings.mac_filter);
  }
  if (settings.mac6_filter) {
    warn_of_spans(warner, "mac6_filter", "devices", *settings.mac6_filter);
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
}

}  // namespace settings
