#include "l3ctl/input/packet_options.hpp"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <ctime>
#include <nlohmann/json.hpp>
#include <optional>

#include "l3ctl/context.hpp"
#include "management/devices/find_device.hpp"
#include "settings/local_span.hpp"
#include "settings/values.hpp"

namespace l3ctl {

namespace {

using Json = nlohmann::ordered_json;
using settings::Packet;
using settings::Protocol;
using settings::Side;
using settings::Word;

constexpr struct {
  const char* name;
  const char* allowed; /* for those that a packet may have to have */
} keys[] = {{"from", "lan, wan, other"},
            {"to", "gateway, lan, wan, other"},
            {"protocol", "tcp, udp, icmp, other"},
            {"source", "an IPv4 or IPv6 address"},
            {"destination", "an address of the same family"},
            {"source_port", ""},
            {"destination_port", "0 to 65535"},
            {"tcp_flags", ""},
            {"established", ""},
            {"mac", ""},
            {"dns_name", ""},
            {"time", ""}};
constexpr Word sides[] = {{"lan", 0}, {"wan", 1}, {"other", 2}};
constexpr Word targets[] = {{"gateway", 3}, {"lan", 0}, {"wan", 1}, {"other", 2}};
constexpr Word protocols[] = {{"tcp", 0}, {"udp", 1}, {"icmp", 2}, {"other", 3}};
constexpr Word flags[] = {{"FIN", 1},  {"SYN", 2},  {"RST", 4}, {"PSH", 8},
                          {"ACK", 16}, {"URG", 32}, {"none", 0}};

[[noreturn]] void refuse(const std::string& name, const Json& value, const std::string& allowed) {
  throw Error(name + ": " + value.dump(-1, ' ', true, Json::error_handler_t::replace) +
                  " is not allowed; it must be " + allowed,
              ErrorKind::invalid_input);
}

std::string listed(std::span<const Word> words) {
  std::string list;
  for (const Word& word : words) {
    list += (list.empty() ? "\"" : ", \"") + std::string(word.text) + "\"";
  }
  return "one of " + list;
}

/* One packet's words while they are read. */
class Words {
 public:
  Words(const Json& words, Naming naming) : words_(words), naming_(naming) {
    if (!words.is_object()) {
      throw Error("a packet is an object such as {\"from\": \"lan\"}", ErrorKind::invalid_input);
    }
    for (const auto& [key, value] : words.items()) {
      const std::string& name = key;
      if (std::none_of(std::begin(keys), std::end(keys),
                       [&](const auto& known) { return name == known.name; })) {
        throw Error(key + ": a packet has no such key", ErrorKind::invalid_input);
      }
    }
  }

  /* A key as whoever wrote the packet knows it: "destination_port" or "--destination-port". */
  [[nodiscard]] std::string name(std::string key) const {
    if (naming_ == Naming::keys) {
      return key;
    }
    std::replace(key.begin(), key.end(), '_', '-');
    return "--" + key;
  }

  [[nodiscard]] bool has(const char* key) const { return words_.contains(key); }

  [[nodiscard]] bool says(const char* key, const char* text) const {
    return has(key) && words_[key] == text;
  }

  /* The text of a member; numbers count as their digits. */
  [[nodiscard]] std::string text(const char* key) const {
    const Json& value = words_[key];
    if (value.is_number_unsigned()) {
      return value.dump();
    }
    if (!value.is_string()) {
      refuse(name(key), value, "a text");
    }
    return value.get<std::string>();
  }

  [[nodiscard]] uint32_t word(const char* key, std::span<const Word> words) const {
    const std::string value = text(key);
    for (const Word& word : words) {
      if (value == word.text) {
        return word.value;
      }
    }
    refuse(name(key), words_[key], listed(words));
  }

  [[nodiscard]] bool flag(const char* key) const {
    if (has(key) && !words_[key].is_boolean()) {
      refuse(name(key), words_[key], "true or false");
    }
    return has(key) && words_[key].get<bool>();
  }

  [[noreturn]] void refuse_value(const char* key, const std::string& allowed) const {
    refuse(name(key), words_[key], allowed);
  }

 private:
  const Json& words_;
  Naming naming_;
};

/* Whether a packet of these words has to have this one. */
bool is_needed(const Words& words, std::string_view key) {
  const bool is_dns = words.has("dns_name");
  if (key == "protocol") {
    return !is_dns;
  }
  if (key == "destination") {
    return !words.says("to", "gateway");  // No setting asks which of its addresses it is called by.
  }
  if (key == "destination_port") {
    return !is_dns && (words.says("protocol", "tcp") || words.says("protocol", "udp"));
  }
  return key == "from" || key == "to" || key == "source";
}

/* Names everything that is missing at once. */
void require_all(const Words& words) {
  std::string missing;
  for (const auto& key : keys) {
    if (is_needed(words, key.name) && !words.has(key.name)) {
      missing += (missing.empty() ? "" : "; ") + words.name(key.name) + " (" + key.allowed + ")";
    }
  }
  if (!missing.empty()) {
    throw Error("a packet also needs " + missing, ErrorKind::invalid_input);
  }
}

/* Reads an address of either family; returns whether it is one of IPv6. */
bool read_address(const Words& words, const char* key, uint32_t& v4, settings::Ipv6Address& v6) {
  const std::string text = words.text(key);
  in_addr address{};
  if (text.find('\0') == std::string::npos) {
    if (inet_pton(AF_INET, text.c_str(), &address) == 1) {
      v4 = ntohl(address.s_addr);
      return false;
    }
    if (inet_pton(AF_INET6, text.c_str(), v6.data()) == 1) {
      return true;
    }
  }
  words.refuse_value(key, "an IPv4 or an IPv6 address");
}

std::optional<uint32_t> number(std::string_view text, uint32_t highest) {
  uint32_t value = 0;
  const char* end = text.data() + text.size();
  const auto [rest, fault] = std::from_chars(text.data(), end, value);
  return fault == std::errc() && rest == end && value <= highest ? std::optional(value)
                                                                 : std::nullopt;
}

uint32_t port_of(const Words& words, const char* key, uint32_t unless_said) {
  if (!words.has(key)) {
    return unless_said;
  }
  const auto port = number(words.text(key), 65535);
  if (!port) {
    words.refuse_value(key, "a port from 0 to 65535");
  }
  return *port;
}

uint8_t tcp_flags_of(const Words& words) {
  std::string text = words.text("tcp_flags");
  uint32_t set = 0;
  while (true) {
    const size_t plus = text.find('+');
    const std::string name = text.substr(0, plus);
    const auto* word = std::find_if(std::begin(flags), std::end(flags),
                                    [&](const Word& flag) { return name == flag.text; });
    if (word == std::end(flags)) {
      words.refuse_value("tcp_flags", "flags such as \"SYN\" or \"PSH+ACK\", or \"none\"");
    }
    set |= word->value;
    if (plus == std::string::npos) {
      return static_cast<uint8_t>(set);
    }
    text.erase(0, plus + 1);
  }
}

/* "HH:MM", taken in its middle, or "HH:MM:SS"; the present second unless said. */
uint32_t second_of(const Words& words, std::optional<int> offset) {
  if (!words.has("time")) {
    return static_cast<uint32_t>(std::time(nullptr) % 86400);
  }
  const std::string text = words.text("time");
  const bool has_seconds = text.size() == 8 && text[5] == ':';
  const bool is_clock = (text.size() == 5 || has_seconds) && text[2] == ':';
  const auto hour = is_clock ? number(text.substr(0, 2), 23) : std::nullopt;
  const auto minute = is_clock ? number(text.substr(3, 2), 59) : std::nullopt;
  const auto second = has_seconds ? number(text.substr(6), 59) : std::optional<uint32_t>(30);
  if (!hour || !minute || !second) {
    words.refuse_value("time", std::string(offset ? "a local time" : "a time in UTC") +
                                   " such as \"18:30\" or \"18:30:59\"");
  }
  return settings::local_second(*hour * 3600 + *minute * 60 + *second, -offset.value_or(0));
}

void read_way(const Words& words, Packet& packet) {
  packet.from = static_cast<Side>(words.word("from", sides));
  const uint32_t to = words.word("to", targets);
  packet.to_gateway = to == 3;
  if (to == 0 && packet.from == Side::lan) {
    throw Error(words.name("from") + ", " + words.name("to") +
                    ": packets inside the home network do not meet the packet filter",
                ErrorKind::invalid_input);
  }
}

void read_addresses(const Words& words, Packet& packet) {
  packet.is_ipv6 = read_address(words, "source", packet.source, packet.source6);
  if (packet.to_gateway && !words.has("destination")) {
    return;
  }
  if (read_address(words, "destination", packet.destination, packet.destination6) !=
      packet.is_ipv6) {
    words.refuse_value("destination", "of the source's family");
  }
}

void read_protocol(const Words& words, Packet& packet) {
  const bool is_dns = words.has("dns_name");
  packet.protocol = is_dns && !words.has("protocol")
                        ? Protocol::udp
                        : static_cast<Protocol>(words.word("protocol", protocols));
  packet.source_port = port_of(words, "source_port", 0);
  packet.destination_port = port_of(words, "destination_port", is_dns ? 53 : 0);
  const bool has_ports = packet.protocol == Protocol::tcp || packet.protocol == Protocol::udp;
  for (const char* key : {"source_port", "destination_port"}) {
    if (words.has(key) && !has_ports) {
      words.refuse_value(key, "left out: only tcp and udp have ports");
    }
  }
  if (words.has("tcp_flags")) {
    if (packet.protocol != Protocol::tcp) {
      words.refuse_value("tcp_flags", "left out: only tcp has flags");
    }
    packet.tcp_flags = tcp_flags_of(words);
  }
}

}  // namespace

std::string packet_choices(const std::string& key) {
  std::span<const Word> words;
  words = key == "from" ? sides : words;
  words = key == "to" ? targets : words;
  words = key == "protocol" ? protocols : words;
  std::string list;
  for (const Word& word : words) {
    list += (list.empty() ? "{" : ",") + std::string(word.text);
  }
  return list.empty() ? "TEXT" : list + "}";
}

Packet packet_of(const Json& json, Naming naming, std::optional<int> span_offset) {
  const Words words(json, naming);
  require_all(words);
  Packet packet;
  read_way(words, packet);
  read_addresses(words, packet);
  read_protocol(words, packet);
  packet.established = words.flag("established");
  packet.second = second_of(words, span_offset);
  if (words.has("dns_name")) {
    packet.dns_name = words.text("dns_name");
  }
  if (words.has("mac")) {
    const auto mac = find_device(words.text("mac"));
    if (!mac.value) {
      words.refuse_value("mac", mac.allowed);
    }
    packet.mac = mac.value;
  }
  return packet;
}

}  // namespace l3ctl
