/* MAC texts against a reading of the interface's own words: spaces around do not count, 24 characters
 * are looked at, 17 hexadecimal digits and colons must be left and begin with six groups. */
#include <optional>
#include <vector>

#include "input.hpp"
#include "oracle.hpp"
#include "world.hpp"

using namespace fuzz;

namespace {

constexpr char digits[] = "0123456789abcdefABCDEF";

/* The groups at the start of a text, each of one or two digits. */
std::vector<uint8_t> groups_of(const std::string& text) {
  std::vector<uint8_t> groups;
  for (size_t at = 0; at < text.size() && groups.size() < 6; ++at) {
    const size_t end = std::min(text.find_first_not_of(digits, at), at + 2);
    if (end == at) {
      break;
    }
    groups.push_back(static_cast<uint8_t>(std::stoul(text.substr(at, end - at), nullptr, 16)));
    at = std::min(end, text.size());
    if (at < text.size() && text[at] != ':') {
      break;
    }
  }
  return groups;
}

std::optional<std::vector<uint8_t>> expected(const std::string& text) {
  if (text.size() < 17) {
    return {};
  }
  std::string trimmed = text.substr(0, 24);
  trimmed.erase(0, std::min(trimmed.find_first_not_of(' '), trimmed.size()));
  trimmed.erase(trimmed.find_last_not_of(' ') + 1);
  const bool of_its_characters =
      trimmed.find_first_not_of(std::string(digits) + ":") == std::string::npos;
  const auto groups = groups_of(trimmed);
  if (trimmed.size() != 17 || !of_its_characters || groups.size() != 6) {
    return {};
  }
  return groups;
}

void check_way_back(const std::vector<uint8_t>& mac) {
  char text[19] = {};
  uint8_t again[6] = {};
  check(gl3_web_mac_bin_to_str(text, mac.data()) == 0 && std::string(text).size() == 17 &&
            gl3_web_mac_str_to_bin(text, again) == 0 && memcmp(again, mac.data(), 6) == 0,
        "an address survives the way to text and back", text);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text = Input(data, size).text();
  constexpr uint8_t untouched = 0xa5;
  uint8_t mac[7] = {0, 0, 0, 0, 0, 0, untouched};
  const int32_t result = gl3_web_mac_str_to_bin(text.c_str(), mac);
  const auto wanted = expected(text);
  check(result == (wanted ? 0 : -1), "what is no MAC address is refused", text);
  check(!wanted || memcmp(wanted->data(), mac, 6) == 0, "the bytes are those of the text", text);
  check(mac[6] == untouched, "six bytes are written", text);
  if (wanted) {
    check_way_back(*wanted);
  }
  return 0;
}
