#include "l3ctl/commands/explain_device.hpp"

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>
#include <set>

#include "l3ctl/commands/explain_notes.hpp"
#include "l3ctl/input/packet_options.hpp"
#include "l3ctl/views/device_report.hpp"
#include "l3ctl/views/json_output.hpp"
#include "l3ctl/views/table.hpp"
#include "l3ctl/views/time_text.hpp"
#include "l3ctl/views/verdict_words.hpp"
#include "management/devices/find_device.hpp"
#include "management/devices/place.hpp"
#include "management/system/escape.hpp"
#include "settings/local_span.hpp"
#include "settings/sections.hpp"
#include "settings/simulation/day.hpp"

namespace l3ctl {

namespace {

using Json = nlohmann::ordered_json;
using settings::Packet;
using settings::Verdict;

constexpr const char* said_by_device[] = {"from", "source", "destination", "mac", "dns_name"};

/* An address that no setting can name, of each family; simulation takes 0.0.0.0 for one like any other. */
constexpr const char* unnamed4 = "0.0.0.0";
constexpr const char* unnamed6[] = {"100::1", "100::2"};

/* HOST[:PORT] */
struct Target {
  std::string name;    /* empty for an address */
  std::string address; /* empty for a name, and where no target is named */
  std::string port;

  [[nodiscard]] bool is_ipv6() const { return address.find(':') != std::string::npos; }
};

/* One kind of packet that the device sends, and what becomes of it. */
struct Sent {
  std::string what; /* "IPv4", "look-up of example.com" */
  Packet packet;
  Verdict verdict;
};

struct Answer {
  Device device;
  std::vector<Sent> sent;
  Notes notes;
};

[[noreturn]] void refuse(const std::string& name, const std::string& value,
                         const std::string& allowed) {
  throw Error(name + ": \"" + value + "\" is not allowed; it must be " + allowed,
              ErrorKind::invalid_input);
}

bool is_ip_address(const std::string& text) {
  return text != "any" && (settings::parse_ipv4(text).value || settings::parse_ipv6(text).value);
}

bool is_host_name(const std::string& text) {
  constexpr size_t longest = 253;
  return !text.empty() && text.size() <= longest &&
         std::all_of(text.begin(), text.end(), [](unsigned char c) {
           return std::isalnum(c) != 0 || c == '-' || c == '_' || c == '.';
         });
}

Target target_of(const std::string& text) {
  Target target;
  std::string host = text;
  const bool is_bracketed = text.starts_with('[');
  const size_t bracket = text.find(']');
  if (is_bracketed && bracket != std::string::npos) {
    host = text.substr(1, bracket - 1);
    target.port = text.substr(bracket + 1);
  } else if (std::count(text.begin(), text.end(), ':') == 1) {
    host = text.substr(0, text.find(':'));
    target.port = text.substr(text.find(':'));
  }
  const bool has_good_port = target.port.empty() || target.port.size() > 1;
  target.port.erase(0, 1);
  const bool is_address = is_ip_address(host);
  if (!has_good_port || (!is_address && (is_bracketed || !is_host_name(host)))) {
    refuse("HOST", text, "a name or an address, as \"example.com:443\" or \"[2001:db8::1]:443\"");
  }
  (is_address ? target.address : target.name) = host;
  return target;
}

Device device_of(const std::string& word, Notes& notes) {
  const auto mac = find_device(word);
  if (!mac.value) {
    refuse("DEVICE", word, mac.allowed);
  }
  Devices known = known_devices({*mac.value});
  notes.insert(notes.end(), known.notes.begin(), known.notes.end());
  return *std::find_if(known.list.begin(), known.list.end(),
                       [&](const Device& device) { return device.mac == *mac.value; });
}

/* The keys that follow from the target, beside those that the command line says. */
Json words_of(const Json& said, const Device& device, const Target& target) {
  Json words = said;
  words["from"] = "lan";
  words["mac"] = settings::mac_text(device.mac);
  if (!words.contains("to")) {
    constexpr const char* sides[] = {"gateway", "lan", "wan"};
    words["to"] =
        target.address.empty() ? "wan" : sides[static_cast<int>(place_of(target.address))];
  }
  if (!target.port.empty() && words.contains("destination_port")) {
    refuse("--destination-port", words["destination_port"].get<std::string>(),
           "left out: HOST has a port");
  }
  if (!target.port.empty()) {
    words["destination_port"] = target.port;
  }
  if (!words.contains("protocol")) {
    // The clock and names are asked for by UDP.
    const std::string port = words.value("destination_port", "443");
    words["protocol"] = port == "53" || port == "123" ? "udp" : "tcp";
  }
  if (!words.contains("destination_port") &&
      (words["protocol"] == "tcp" || words["protocol"] == "udp")) {
    words["destination_port"] = "443";
  }
  return words;
}

/* What becomes of the packet of these words; of several addresses of the device one that is blocked counts. */
Sent sent_by(const Device& device, bool is_ipv6, const std::string& what, Json words,
             const Gateway& gateway) {
  std::vector<std::string> sources = forwarded_addresses(device, is_ipv6);
  if (sources.empty()) {
    sources.emplace_back(is_ipv6 ? unnamed6[0] : unnamed4);
  }
  Sent sent;
  sent.what = what;
  for (const std::string& source : sources) {
    words["source"] = source;
    Packet packet = packet_of(words, Naming::options, span_offset(gateway.settings));
    packet.bindings = gateway.bindings;
    Verdict verdict = settings::verdict_on(packet, gateway.settings);
    if (sent.verdict.reason.empty() || (verdict.outcome == settings::Outcome::dropped &&
                                        sent.verdict.outcome != settings::Outcome::dropped)) {
      sent.packet = std::move(packet);
      sent.verdict = std::move(verdict);
    }
  }
  return sent;
}

Sent look_up(const Device& device, const std::string& name, const Json& said,
             const Gateway& gateway) {
  Json words = {{"from", "lan"},
                {"to", "wan"},
                {"mac", settings::mac_text(device.mac)},
                {"destination", unnamed4},
                {"dns_name", name}};
  if (said.contains("time")) {
    words["time"] = said["time"];
  }
  return sent_by(device, false, name.empty() ? "look-up of other names" : "look-up of " + name,
                 words, gateway);
}

Sent dhcp_request(const Device& device, const Json& said, const Gateway& gateway) {
  Json words = {
      {"from", "lan"},       {"to", "gateway"},          {"protocol", "udp"},
      {"source_port", "68"}, {"destination_port", "67"}, {"mac", settings::mac_text(device.mac)}};
  if (said.contains("time")) {
    words["time"] = said["time"];
  }
  Device without_address;
  without_address.mac = device.mac;
  return sent_by(without_address, false, "DHCP", words, gateway);
}

void note_missing_address(const Device& device, bool is_ipv6, Notes& notes) {
  if (forwarded_addresses(device, is_ipv6).empty()) {
    add_note(notes,
             std::string("no ") + (is_ipv6 ? "IPv6" : "IPv4") +
                 " address of the device is known, so it is judged as one that no rule names");
  }
}

void add_connections(Answer& answer, const Target& target, const Json& said,
                     const Gateway& gateway) {
  for (const bool is_ipv6 : {false, true}) {
    if (!target.address.empty() && target.is_ipv6() != is_ipv6) {
      continue;
    }
    Json words = words_of(said, answer.device, target);
    words["destination"] = !target.address.empty() ? target.address
                           : is_ipv6               ? unnamed6[1]
                                                   : unnamed4;
    note_missing_address(answer.device, is_ipv6, answer.notes);
    answer.sent.push_back(
        sent_by(answer.device, is_ipv6, is_ipv6 ? "IPv6" : "IPv4", words, gateway));
  }
}

/* The names that the URL filter lists, each once, and what a white list does to all others. */
std::vector<std::string> listed_names(const settings::Settings& settings) {
  std::set<std::string> names;
  for (const l3_url_entry& entry : settings::used_entries(*settings.url_filter)) {
    if (entry.url_enable != 0) {
      names.emplace(entry.url, strnlen(entry.url, sizeof entry.url));
    }
  }
  if (settings.url_filter->url_black_white != 0) {
    names.emplace("");
  }
  return {names.begin(), names.end()};
}

Answer answer_to(const DeviceQuestion& question, const Json& said, const Gateway& gateway,
                 Notes notes) {
  Answer answer;
  answer.notes = std::move(notes);
  const Target target = question.target.empty() ? Target() : target_of(question.target);
  answer.device = device_of(question.device, answer.notes);
  if (!target.name.empty()) {
    answer.sent.push_back(look_up(answer.device, target.name, said, gateway));
    add_note(answer.notes, "the address of " + target.name +
                               " is not looked up: it is judged as one that no rule names");
  }
  add_connections(answer, target, said, gateway);
  if (question.target.empty()) {
    answer.sent.push_back(dhcp_request(answer.device, said, gateway));
    const bool has_names =
        *gateway.settings.firewall && gateway.settings.url_filter->url_filter_ctrl != 0;
    for (const std::string& name :
         has_names ? listed_names(gateway.settings) : std::vector<std::string>()) {
      answer.sent.push_back(look_up(answer.device, name, said, gateway));
    }
  }
  for (const Sent& sent : answer.sent) {
    add_notes(sent.packet, sent.verdict, gateway.settings, answer.notes);
  }
  return answer;
}

/* What decides for people: the first that is stopped, or that passes where all do. */
const Verdict& first_verdict(const Answer& answer) {
  const auto stopped = std::find_if(answer.sent.begin(), answer.sent.end(), [](const Sent& sent) {
    return sent.verdict.outcome == settings::Outcome::dropped;
  });
  return stopped == answer.sent.end() ? answer.sent.front().verdict : stopped->verdict;
}

std::string period_text(const settings::Period& period, uint32_t second) {
  const bool is_whole = period.from == 0 && period.to == settings::seconds_of_day;
  if (is_whole) {
    return "all day";
  }
  const bool is_now = period.from <= second && second < period.to;
  return day_time(period.from) + "-" + day_time(period.to) + (is_now ? " now" : "");
}

/* The day as the clock of the settings' spans shows it, without the second that a span holds of the minute in which it
 * ends. */
std::vector<settings::Period> local_day(const Sent& sent, const settings::Settings& settings) {
  std::vector<settings::Period> day =
      settings::at_offset(day_of(sent.packet, settings), clock_of(settings).offset_minutes);
  std::erase_if(day, [](const settings::Period& period) {
    return day_time(period.from) == day_time(period.to);
  });
  return day;
}

Json day_json(const Sent& sent, const settings::Settings& settings) {
  Json periods = Json::array();
  for (const settings::Period& period : local_day(sent, settings)) {
    periods.push_back({{"from", day_time(period.from)},
                       {"to", day_time(period.to)},
                       {"outcome", outcome_word(period.verdict.outcome)},
                       {"decided_by", decider_of(period.verdict)},
                       {"reason", period.verdict.reason}});
  }
  return {{"traffic", sent.what}, {"time_zone", clock_of(settings).zone}, {"periods", periods}};
}

void print_as_json(const Answer& answer, const settings::Settings& settings, bool with_day) {
  Json object = verdict_json(first_verdict(answer));
  object["notes"] = answer.notes;
  object["device"] = device_json(answer.device);
  object["packets"] = Json::array();
  for (const Sent& sent : answer.sent) {
    Json packet = {{"traffic", sent.what}};
    packet.update(verdict_json(sent.verdict));
    object["packets"].push_back(packet);
  }
  if (with_day) {
    object["day"] = Json::array();
    for (const Sent& sent : answer.sent) {
      object["day"].push_back(day_json(sent, settings));
    }
  }
  print_json(object);
}

void print_day(const Answer& answer, const settings::Settings& settings) {
  const Clock clock = clock_of(settings);
  std::vector<Row> rows = {{"", clock.zone, ""}};
  for (const Sent& sent : answer.sent) {
    const uint32_t now = settings::local_second(sent.packet.second, clock.offset_minutes);
    std::string what = management::escape(sent.what);
    for (const settings::Period& period : local_day(sent, settings)) {
      rows.push_back({what, period_text(period, now), verdict_line(period.verdict)});
      what.clear();
    }
  }
  std::cout << aligned(rows);
}

void print_packets(const Answer& answer) {
  for (const Sent& sent : answer.sent) {
    std::cout << "  " << management::escape(sent.what) << ": " << verdict_line(sent.verdict)
              << '\n';
    for (const settings::Step& step : sent.verdict.passed) {
      std::cout << "    passed " << step.setting << ": " << management::escape(step.what) << '\n';
    }
  }
}

}  // namespace

bool is_said_by_device(const std::string& key) {
  return std::find(std::begin(said_by_device), std::end(said_by_device), key) !=
         std::end(said_by_device);
}

int explain_device(const Context& context, const DeviceQuestion& question, const Json& words,
                   const std::string& file) {
  const bool with_day = question.target.empty();
  Notes notes;
  const Gateway gateway = gateway_now(file, notes);
  const Answer answer = answer_to(question, words, gateway, std::move(notes));
  if (context.json) {
    print_as_json(answer, gateway.settings, with_day);
    return exit_done;
  }
  std::cout << device_text(answer.device) << '\n';
  if (with_day) {
    print_day(answer, gateway.settings);
  } else {
    print_packets(answer);
  }
  std::cout << notes_text(answer.notes);
  return exit_done;
}

}  // namespace l3ctl
