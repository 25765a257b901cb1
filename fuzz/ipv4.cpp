/*
 * IPv4 texts: the parser agrees with inet_pton(3) on every text; the call that makes a number of one takes
 * the empty text too, and with a colon what IPv6 takes; numbers survive the way to text and back.
 */
#include <arpa/inet.h>

#include "input.hpp"
#include "oracle.hpp"
#include "world.hpp"

using namespace fuzz;

namespace {

constexpr uint8_t untouched = 0xa5;

void check_parser(const std::string& text) {
  uint8_t ours[5] = {untouched, untouched, untouched, untouched, untouched};
  uint8_t theirs[4] = {};
  const int32_t result = p_bl_inet_pton4(text.c_str(), ours);
  check(result == inet_pton(AF_INET, text.c_str(), theirs), "inet_pton() decides alike", text);
  check(ours[4] == untouched, "four bytes are written", text);
  for (size_t i = 0; i < 4; ++i) {
    check(ours[i] == (result == 1 ? theirs[i] : untouched), "both read the same bytes", text);
  }
}

/* The first four bytes of a colon's text are an IPv6 address's. */
bool parses(const std::string& text, uint8_t (&address)[16]) {
  const bool has_colon = text.find(':') != std::string::npos;
  return text.empty() || inet_pton(has_colon ? AF_INET6 : AF_INET, text.c_str(), address) == 1;
}

void check_number(const std::string& text) {
  uint8_t address[16] = {};
  const bool good = parses(text, address);
  const uint32_t expected = uint32_t{address[0]} << 24 | uint32_t{address[1]} << 16 |
                            uint32_t{address[2]} << 8 | uint32_t{address[3]};
  uint32_t number = 1;
  const int32_t result = gl3_web_ip_str_to_bin(text.c_str(), &number);
  check(result == (good ? 0 : 1), "inet_pton() decides, but for the empty text", text);
  check(number == (good ? expected : 0), "the number is the text's, or 0", text);
  if (result != 0 || text.empty() || text.find(':') != std::string::npos) {
    return;
  }
  char written[17] = {};
  check(gl3_web_ip_bin_to_str(written, number) == 0 && written == text,
        "a number is written as it was read", text);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text = Input(data, size).text();
  check_parser(text);
  check_number(text);
  return 0;
}
