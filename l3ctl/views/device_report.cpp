#include "l3ctl/views/device_report.hpp"

#include <algorithm>
#include <ctime>
#include <nlohmann/json.hpp>

#include "l3ctl/views/time_text.hpp"
#include "l3ctl/views/verdict_words.hpp"
#include "management/system/escape.hpp"
#include "settings/local_span.hpp"

namespace l3ctl {

using Json = nlohmann::ordered_json;
using management::Device;
using management::Effect;
using management::Traffic;

namespace {

/* More are in the JSON. */
constexpr size_t most_addresses = 2;

const char* traffic_key(Traffic traffic) {
  return traffic == Traffic::ipv4 ? "ipv4" : traffic == Traffic::ipv6 ? "ipv6" : "dhcp";
}

std::string addresses_text(const Device& device) {
  std::string text;
  for (const auto* addresses : {&device.ipv4, &device.ipv6}) {
    for (size_t i = 0; i < std::min(addresses->size(), most_addresses); ++i) {
      text += (text.empty() ? "" : ", ") + (*addresses)[i];
    }
    if (addresses->size() > most_addresses) {
      text += " +" + std::to_string(addresses->size() - most_addresses);
    }
  }
  return text;
}

/* "blocked by mac_filter.mode"; "open" where nothing that is named lets it through. */
std::string state_text(const settings::Verdict& verdict) {
  if (verdict.outcome == settings::Outcome::dropped) {
    return "blocked by " + verdict.decided_by;
  }
  return verdict.decided_by.empty() ? "open" : "open by " + verdict.decided_by;
}

/* " until 06:00 UTC", and what is next where that is no mere opening. */
std::string end_text(const Effect& effect, const Now& now) {
  if (!effect.moment.has_end) {
    return "";
  }
  const uint32_t end =
      settings::local_second(now.second() + effect.moment.seconds_left, now.clock.offset_minutes);
  const bool opens = effect.moment.next.outcome != settings::Outcome::dropped;
  return " until " + day_time(end) + " " + now.clock.zone +
         (opens ? "" : ", then " + state_text(effect.moment.next));
}

/* Both families in one phrase where they are the same to people. */
std::string forwarded_text(const Effect& ipv4, const Effect& ipv6, const Now& now) {
  const bool both = ipv4.is_blocked() == ipv6.is_blocked() &&
                    ipv4.moment.has_end == ipv6.moment.has_end &&
                    ipv4.moment.seconds_left == ipv6.moment.seconds_left &&
                    ipv4.moment.now.decided_by.empty() == ipv6.moment.now.decided_by.empty();
  if (!both) {
    return "IPv4 " + state_text(ipv4.moment.now) + end_text(ipv4, now) + "; IPv6 " +
           state_text(ipv6.moment.now) + end_text(ipv6, now);
  }
  std::string text = state_text(ipv4.moment.now);
  if (!ipv4.moment.now.decided_by.empty()) {
    text += ", " + ipv6.moment.now.decided_by;
  }
  return text + end_text(ipv4, now);
}

}  // namespace

Now now(const Clock& clock) {
  return {std::time(nullptr), clock};
}

const char* traffic_word(Traffic traffic) {
  return traffic == Traffic::ipv4 ? "IPv4" : traffic == Traffic::ipv6 ? "IPv6" : "DHCP";
}

Json device_json(const Device& device) {
  const auto text_or_null = [](const std::string& text) {
    return text.empty() ? Json() : Json(text);
  };
  return {{"mac", settings::mac_text(device.mac)},
          {"locally_administered", management::is_randomised(device.mac)},
          {"name", text_or_null(device.name())},
          {"given_name", text_or_null(device.given_name)},
          {"own_name", text_or_null(device.own_name)},
          {"ipv4", device.ipv4},
          {"ipv6", device.ipv6},
          {"last_seen", device.last_seen ? Json(timestamp(*device.last_seen)) : Json()}};
}

Json effects_json(const std::vector<Effect>& effects, const Now& now) {
  Json object;
  for (const Effect& effect : effects) {
    const settings::Moment& moment = effect.moment;
    Json next;
    if (moment.has_end) {
      next = {{"outcome", outcome_word(moment.next.outcome)},
              {"decided_by", decider_of(moment.next)}};
    }
    object[traffic_key(effect.traffic)] = {
        {"outcome", outcome_word(moment.now.outcome)},
        {"decided_by", decider_of(moment.now)},
        {"until", moment.has_end ? Json(timestamp(now.time + moment.seconds_left)) : Json()},
        {"next", next}};
  }
  return object;
}

std::string effects_text(const std::vector<Effect>& effects, const Now& now) {
  if (effects.empty()) {
    return "unknown";
  }
  const Effect& dhcp = effects[2];
  return forwarded_text(effects[0], effects[1], now) +
         (dhcp.is_blocked() ? "; no DHCP by " + dhcp.moment.now.decided_by : "");
}

std::string device_text(const Device& device) {
  const std::string addresses = addresses_text(device);
  const std::string beside =
      settings::mac_text(device.mac) + (addresses.empty() ? "" : ", " + addresses);
  return device.name().empty() ? beside : management::escape(device.name()) + " (" + beside + ")";
}

std::vector<std::string> device_cells(const Device& device) {
  const std::string addresses = addresses_text(device);
  return {device.name().empty() ? "-" : management::escape(device.name()),
          settings::mac_text(device.mac) +
              (management::is_randomised(device.mac) ? " (randomised)" : ""),
          addresses.empty() ? "-" : addresses};
}

}  // namespace l3ctl
