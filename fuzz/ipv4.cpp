/* IPv4 texts: the parser agrees with inet_pton(3) on every text, and numbers survive the way to text
 * and back. */
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

void check_number(const std::string& text) {
  uint32_t number = 1;
  const int32_t result = gl3_web_ip_str_to_bin(text.c_str(), &number);
  check(result == 0 || (result == 1 && number == 0), "a text that does not parse is 0", text);
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
