#include "settings/values.hpp"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdio>

namespace settings {

namespace {

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

std::optional<uint8_t> hex_digit(char c) {
  if (is_digit(c)) {
    return static_cast<uint8_t>(c - '0');
  }
  if (c >= 'a' && c <= 'f') {
    return static_cast<uint8_t>(c - 'a' + 10);
  }
  if (c >= 'A' && c <= 'F') {
    return static_cast<uint8_t>(c - 'A' + 10);
  }
  return std::nullopt;
}

std::optional<uint8_t> hex_pair(std::string_view pair) {
  const auto high = hex_digit(pair[0]);
  const auto low = hex_digit(pair[1]);
  if (!high || !low) {
    return std::nullopt;
  }
  return static_cast<uint8_t>(*high << 4 | *low);
}

/* Six pairs of hexadecimal digits, joined by ":", by "-" or by nothing. */
std::optional<MacAddress> six_pairs(std::string_view text) {
  const bool is_joined = text.size() == 17;
  const char joint = is_joined ? text[2] : ':';
  if ((!is_joined && text.size() != 12) || (joint != ':' && joint != '-')) {
    return std::nullopt;
  }
  MacAddress mac{};
  const size_t step = is_joined ? 3 : 2;
  for (size_t i = 0; i < mac.size(); ++i) {
    const auto byte = hex_pair(text.substr(step * i, 2));
    if (!byte || (is_joined && i < 5 && text[step * i + 2] != joint)) {
      return std::nullopt;
    }
    mac[i] = *byte;
  }
  return mac;
}

/* A decimal number without sign, blanks or leading zeros, of at most `highest`. */
std::optional<uint32_t> decimal(std::string_view text, uint32_t highest) {
  if (text.empty() || text.size() > 5 || (text.size() > 1 && text[0] == '0')) {
    return std::nullopt;
  }
  uint32_t number = 0;
  for (const char c : text) {
    if (!is_digit(c)) {
      return std::nullopt;
    }
    number = number * 10 + static_cast<uint32_t>(c - '0');
  }
  return number <= highest ? std::optional(number) : std::nullopt;
}

/* Exactly two digits. */
std::optional<uint8_t> two_digits(std::string_view text) {
  if (text.size() != 2 || !is_digit(text[0]) || !is_digit(text[1])) {
    return std::nullopt;
  }
  return static_cast<uint8_t>((text[0] - '0') * 10 + (text[1] - '0'));
}

std::optional<uint32_t> dotted_quad(std::string_view text) {
  in_addr address{};
  const std::string copy(text);
  if (copy.find('\0') != std::string::npos || inet_pton(AF_INET, copy.c_str(), &address) != 1) {
    return std::nullopt;
  }
  return ntohl(address.s_addr);
}

bool is_label(std::string_view label) {
  return !label.empty() && label.front() != '-' && label.back() != '-' &&
         std::all_of(label.begin(), label.end(),
                     [](char c) { return is_letter(c) || is_digit(c) || c == '-'; });
}

struct ClockTime {
  uint8_t hour;
  uint8_t minute;
};

/* "HH:MM" up to 24:00. */
std::optional<ClockTime> clock_time(std::string_view text) {
  if (text.size() != 5 || text[2] != ':') {
    return std::nullopt;
  }
  const auto hour = two_digits(text.substr(0, 2));
  const auto minute = two_digits(text.substr(3));
  if (!hour || !minute || *minute > 59 || *hour > 24 || (*hour == 24 && *minute != 0)) {
    return std::nullopt;
  }
  return ClockTime{*hour, *minute};
}

}  // namespace

Parsed<uint32_t> parse_ipv4(std::string_view text) {
  const auto address = text == "any" ? std::optional<uint32_t>(0) : dotted_quad(text);
  if (!address || (*address == 0 && text != "any")) {
    return {{}, "an IPv4 address such as \"192.168.1.20\", or \"any\""};
  }
  return {address, {}};
}

std::string ipv4_text(uint32_t address) {
  if (address == 0) {
    return "any";
  }
  const in_addr number{htonl(address)};
  char text[INET_ADDRSTRLEN];
  return inet_ntop(AF_INET, &number, text, sizeof text);
}

Parsed<Ipv6Address> parse_ipv6(std::string_view text) {
  Ipv6Address address{};
  if (text == "any") {
    return {address, {}};
  }
  const std::string copy(text);
  if (copy.find('\0') != std::string::npos ||
      inet_pton(AF_INET6, copy.c_str(), address.data()) != 1 || address == Ipv6Address{}) {
    return {{}, "an IPv6 address such as \"2001:db8::20\", or \"any\""};
  }
  return {address, {}};
}

std::string ipv6_text(std::span<const uint8_t, 16> address) {
  if (std::all_of(address.begin(), address.end(), [](uint8_t byte) { return byte == 0; })) {
    return "any";
  }
  char text[INET6_ADDRSTRLEN];
  return inet_ntop(AF_INET6, address.data(), text, sizeof text);
}

Parsed<AddressRange> parse_address_range(std::string_view text) {
  if (text == "any") {
    return {AddressRange{}, {}};
  }
  const size_t dash = text.find('-');
  const auto first = dotted_quad(text.substr(0, dash));
  const auto last = dash == std::string_view::npos ? first : dotted_quad(text.substr(dash + 1));
  if (!first || !last || *first == 0) {
    return {{}, "an IPv4 address, a range such as \"192.168.1.2-192.168.1.10\", or \"any\""};
  }
  if (*first > *last) {
    return {{}, "a range that does not end before its first address"};
  }
  if ((*first ^ *last) > 0xFFFF) {
    return {{},
            "a range inside one /16, whose first and last address begin with the same two numbers: "
            "no rule can be made from a wider one"};
  }
  return {AddressRange{*first, *last}, {}};
}

std::string address_range_text(AddressRange range) {
  if (range.first == 0 || range.first == range.last) {
    return ipv4_text(range.first);
  }
  return ipv4_text(range.first) + "-" + (range.last == 0 ? "0.0.0.0" : ipv4_text(range.last));
}

Parsed<std::string> parse_destination(std::string_view text) {
  const size_t slash = text.find('/');
  const bool length_is_good =
      slash == std::string_view::npos || decimal(text.substr(slash + 1), 32).has_value();
  if (!length_is_good || !dotted_quad(text.substr(0, slash))) {
    return {{}, "an IPv4 address such as \"203.0.113.2\" or a prefix such as \"198.51.100.0/24\""};
  }
  return {std::string(text), {}};
}

Parsed<Ports> parse_ports(std::string_view text) {
  constexpr const char* allowed =
      "a port from 1 to 65535, a range such as \"1024-65535\", or \"any\"";
  if (text == "any") {
    return {Ports{}, {}};
  }
  const size_t dash = text.find('-');
  const auto first = decimal(text.substr(0, dash), 65535);
  const auto last = dash == std::string_view::npos ? first : decimal(text.substr(dash + 1), 65535);
  if (!first || !last || (*first == 0 && *last == 0)) {
    return {{}, allowed};
  }
  if (*first > *last && *last != 0) {
    return {{}, "a range that does not end below its first port"};
  }
  return {Ports{*first, *last}, {}};
}

std::string ports_text(Ports ports) {
  if (ports.first == 0 && ports.last == 0) {
    return "any";
  }
  if (ports.first == ports.last) {
    return std::to_string(ports.first);
  }
  return std::to_string(ports.first) + "-" + std::to_string(ports.last);
}

Parsed<MacAddress> parse_stored_mac(std::string_view text) {
  const auto mac = six_pairs(text);
  // No device has the one that is all zero, and as an entry it would look like one that was not written.
  if (!mac || *mac == MacAddress{}) {
    return {{},
            "a hardware address of six pairs such as \"02:00:00:00:00:01\", not all of them zero"};
  }
  return {mac, {}};
}

const char* group_of(std::span<const uint8_t, 6> mac) {
  if ((mac[0] & 1) == 0) {
    return nullptr;
  }
  return std::all_of(mac.begin(), mac.end(), [](uint8_t byte) { return byte == 0xFF; })
             ? "broadcast"
             : "multicast";
}

bool looks_like_mac(std::string_view text) {
  return six_pairs(text).has_value();
}

Parsed<MacAddress> parse_mac(std::string_view text) {
  Parsed<MacAddress> mac = parse_stored_mac(text);
  if (const char* group = mac.value ? group_of(*mac.value) : nullptr) {
    return {{},
            std::string("the address of one device: this is a ") + group +
                " address, from which no device sends"};
  }
  return mac;
}

std::string mac_text(std::span<const uint8_t, 6> mac) {
  std::string text;
  for (const uint8_t byte : mac) {
    text += (text.empty() ? "" : ":") + hex_text(std::span(&byte, 1));
  }
  return text;
}

Parsed<std::string> parse_host_name(std::string_view text) {
  constexpr const char* allowed =
      "a host name such as \"example.com\": labels of letters, digits and inner hyphens joined by "
      "dots, at most 31 characters";
  if (text.size() > 31) {
    return {{}, allowed};
  }
  std::string_view labels = text;
  if (labels.starts_with('.')) {
    labels.remove_prefix(1);
  }
  if (labels.ends_with('.')) {
    labels.remove_suffix(1);
  }
  while (true) {
    const size_t dot = labels.find('.');
    if (!is_label(labels.substr(0, dot))) {
      return {{}, allowed};
    }
    if (dot == std::string_view::npos) {
      return {std::string(text), {}};
    }
    labels.remove_prefix(dot + 1);
  }
}

Parsed<TimeSpan> parse_time_span(std::string_view text) {
  if (text == "all day") {
    return {TimeSpan{}, {}};
  }
  const size_t dash = text.find('-');
  const auto start = clock_time(text.substr(0, dash));
  const auto stop =
      dash == std::string_view::npos ? std::nullopt : clock_time(text.substr(dash + 1));
  if (!start || !stop || start->hour == 24) {
    return {{},
            "a span in UTC such as \"08:00-21:30\", with an end of at most 24:00, or \"all day\""};
  }
  return {TimeSpan{start->hour, start->minute, stop->hour, stop->minute}, {}};
}

std::string time_span_text(TimeSpan span) {
  const bool to_the_end = span.stop_hour >= 24;
  if (to_the_end && span.start_hour == 0 && span.start_minute == 0) {
    return "all day";
  }
  char text[32];
  std::snprintf(text, sizeof text, "%02d:%02d-%02d:%02d", span.start_hour, span.start_minute,
                to_the_end ? 24 : span.stop_hour, to_the_end ? 0 : span.stop_minute);
  return text;
}

bool is_active(TimeSpan span, uint32_t second) {
  const auto seconds = [](uint32_t hour, uint32_t minute) { return hour * 3600 + minute * 60; };
  const uint32_t start = seconds(span.start_hour, span.start_minute);
  const uint32_t stop =
      span.stop_hour >= 24 ? seconds(23, 59) : seconds(span.stop_hour, span.stop_minute);
  if (start < stop) {
    return second >= start && second <= stop;
  }
  return second >= start || second <= stop;
}

Parsed<Bytes> parse_hex(std::string_view text) {
  constexpr const char* allowed = "pairs of hexadecimal digits";
  if (text.size() % 2 != 0) {
    return {{}, allowed};
  }
  Bytes bytes;
  for (size_t i = 0; i < text.size(); i += 2) {
    const auto byte = hex_pair(text.substr(i, 2));
    if (!byte) {
      return {{}, allowed};
    }
    bytes.push_back(*byte);
  }
  return {bytes, {}};
}

std::string hex_text(std::span<const uint8_t> bytes) {
  constexpr char digits[] = "0123456789abcdef";
  std::string text;
  for (const uint8_t byte : bytes) {
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

}  // namespace settings
