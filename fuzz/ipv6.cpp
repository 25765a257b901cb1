/* IPv6 texts: the parser agrees with inet_pton(3) but for groups with leading zeros, of which it takes
 * any number; the text calls agree with it throughout. */
#include <arpa/inet.h>

#include <cctype>

#include "input.hpp"
#include "oracle.hpp"
#include "world.hpp"

using namespace fuzz;

namespace {

constexpr uint8_t untouched = 0xa5;

/* An address with a guard byte behind it. */
struct Address {
  uint8_t bytes[16];
  uint8_t behind = untouched;
};

/* Groups of more than four digits lose leading zeros down to four. */
std::string without_long_groups(const std::string& text) {
  std::string result;
  for (size_t at = 0; at < text.size();) {
    size_t end = at;
    while (end < text.size() && isxdigit(static_cast<unsigned char>(text[end])) != 0) {
      ++end;
    }
    // Part of an IPv4 tail is no group.
    const bool is_group = end == text.size() || text[end] != '.';
    while (is_group && end - at > 4 && text[at] == '0') {
      ++at;
    }
    end += end < text.size() ? 1 : 0;
    result += text.substr(at, end - at);
    at = end;
  }
  return result;
}

void check_parser(const std::string& text) {
  Address ours = {};
  Address theirs = {};
  const std::string usual = without_long_groups(text);
  const int32_t result = p_bl_inet_pton6(text.c_str(), ours.bytes);
  check(result == inet_pton(AF_INET6, usual.c_str(), theirs.bytes), "inet_pton() decides alike",
        text);
  check(result == 0 || memcmp(ours.bytes, theirs.bytes, 16) == 0, "both read the same bytes", text);
  check(ours.behind == untouched, "16 bytes are written", text);
}

void check_any_version(const std::string& text) {
  const bool has_colon = text.find(':') != std::string::npos;
  Address theirs = {};
  const bool good = inet_pton(has_colon ? AF_INET6 : AF_INET, text.c_str(), theirs.bytes) == 1;
  l3_ip_address record;
  const int32_t result = p_bl_ip_addr_unknown_version(text.c_str(), &record);
  check(record.version == (has_colon ? 1U : 0U), "a colon makes it IPv6", text);
  check(result == (good ? 1 : 0), "the record's call decides as inet_pton()", text);
  check(!good || memcmp(record.address, theirs.bytes, 16) == 0, "and has its bytes", text);
}

void check_text_calls(const std::string& text) {
  Address ours = {};
  Address theirs = {};
  const bool good = inet_pton(AF_INET6, text.c_str(), theirs.bytes) == 1;
  check(gl3_web_ip6_str_to_bin(text.c_str(), ours.bytes) == (good ? 0 : -1),
        "the text call decides as inet_pton()", text);
  check(!good || memcmp(ours.bytes, theirs.bytes, 16) == 0, "it reads the same bytes", text);

  check_any_version(text);

  char written[INET6_ADDRSTRLEN] = {};
  char expected[INET6_ADDRSTRLEN] = {};
  inet_ntop(AF_INET6, ours.bytes, expected, sizeof(expected));
  check(gl3_web_ip6_bin_to_str(written, ours.bytes) == 0 && std::string(written) == expected,
        "an address is written as inet_ntop() does", text);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text = Input(data, size).text();
  check_parser(text);
  check_text_calls(text);
  return 0;
}
