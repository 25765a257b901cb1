#include "l3ctl/input/acl_words.hpp"

#include <netdb.h>
#include <netinet/in.h>

#include <algorithm>
#include <charconv>
#include <string>

#include "l3ctl/context.hpp"
#include "settings/values.hpp"

namespace l3ctl {

namespace {

/* The ports of the list's services. */
constexpr struct {
  uint16_t port;
  const char* protocol;
  const char* service;
} services[] = {
    {80, "tcp", "web"}, {21, "tcp", "ftp"}, {161, "udp", "snmp"}, {23, "tcp", "telnet"}};

[[noreturn]] void refuse(const char* key, const std::string& text, const std::string& allowed) {
  throw Error(std::string("acl: ") + key + ": \"" + text + "\" is not allowed; it must be " +
                  allowed + "; nothing was changed",
              ErrorKind::invalid_input);
}

bool is_word_of_settings(const std::string& text) {
  return std::any_of(std::begin(settings::services), std::end(settings::services),
                     [&](const settings::Word& word) { return text == word.text; });
}

/* The service that a name of /etc/services stands for; the name itself where it is unknown there. */
std::string service_of(const std::string& name) {
  bool is_known = false;
  for (const auto& one : services) {
    if (const servent* found = getservbyname(name.c_str(), one.protocol)) {
      is_known = true;
      if (ntohs(static_cast<uint16_t>(found->s_port)) == one.port) {
        return one.service;
      }
    }
  }
  if (is_known) {
    refuse("service", name,
           "a service at the port of web (80), ftp (21), snmp (161) or telnet (23)");
  }
  return name;
}

/* "192.168.1.0-192.168.1.255" for "192.168.1.0/24"; the text itself where it is no prefix. */
std::string range_of(const std::string& text) {
  const size_t slash = text.find('/');
  if (slash == std::string::npos) {
    return text;
  }
  const auto address = settings::parse_ipv4(text.substr(0, slash)).value;
  int bits = -1;
  const char* const end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data() + slash + 1, end, bits);
  if (!address || *address == 0 || parsed.ec != std::errc() || parsed.ptr != end || bits < 16 ||
      bits > 32) {
    refuse("sources", text, "a prefix inside one /16, such as \"192.168.1.0/24\"");
  }
  const uint32_t rest = bits == 32 ? 0 : ~uint32_t{0} >> bits;
  if ((*address & rest) != 0) {
    refuse("sources", text,
           "a prefix without bits behind its length, such as \"" +
               settings::ipv4_text(*address & ~rest) + "/" + std::to_string(bits) + "\"");
  }
  return settings::address_range_text({*address, *address | rest});
}

}  // namespace

void complete_acl_entry(nlohmann::ordered_json& entry) {
  if (entry.contains("service") && entry["service"].is_string() &&
      !is_word_of_settings(entry["service"])) {
    entry["service"] = service_of(entry["service"]);
  }
  if (entry.contains("sources") && entry["sources"].is_string()) {
    entry["sources"] = range_of(entry["sources"]);
  }
}

}  // namespace l3ctl
