#include "management/devices/ethers.hpp"

#include <arpa/inet.h>
#include <strings.h>
#include <sys/stat.h>

#include <algorithm>
#include <optional>

#include "management/error.hpp"
#include "management/system/atomic_file.hpp"

namespace management {

namespace {

/* Far more than a home has devices. */
constexpr size_t largest_ethers = 1 << 20;
constexpr size_t longest_name = 63;
constexpr mode_t mode_of_new_file = 0644;

/* One line: the bytes of the file, and the place of the name in them. */
struct Line {
  std::string text;
  std::optional<settings::MacAddress> mac; /* where the line names a device */
  size_t name_at = 0;
  size_t name_length = 0;

  [[nodiscard]] std::string name() const { return text.substr(name_at, name_length); }
};

bool is_letter_or_digit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/* ethers(5) allows one digit for two: "8:0:20:1:2:3". */
std::optional<settings::MacAddress> mac_of(std::string_view word) {
  std::string padded;
  while (!word.empty()) {
    const std::string_view group = word.substr(0, word.find(':'));
    padded += (padded.empty() ? "" : ":") + std::string(group.size() == 1 ? "0" : "");
    padded += group;
    word.remove_prefix(std::min(word.size(), group.size() + 1));
  }
  return settings::parse_mac(padded).value;
}

Line line_of(const std::string& text) {
  constexpr const char* blanks = " \t\r";
  Line line{text, {}};
  const std::string_view words = std::string_view(text).substr(0, text.find('#'));
  const size_t mac_at = std::min(words.find_first_not_of(blanks), words.size());
  const size_t mac_end = std::min(words.find_first_of(blanks, mac_at), words.size());
  line.name_at = std::min(words.find_first_not_of(blanks, mac_end), words.size());
  line.name_length =
      std::min(words.find_first_of(blanks, line.name_at), words.size()) - line.name_at;
  if (line.name_length != 0) {
    line.mac = mac_of(words.substr(mac_at, mac_end - mac_at));
  }
  return line;
}

std::vector<Line> read_lines() {
  const std::string bytes = read_if_exists(ethers_path, largest_ethers).value_or("");
  std::vector<Line> lines;
  for (size_t at = 0; at < bytes.size();) {
    const size_t end = std::min(bytes.find('\n', at), bytes.size());
    lines.push_back(line_of(bytes.substr(at, end - at)));
    at = end + 1;
  }
  return lines;
}

void write_lines(const std::vector<Line>& lines) {
  std::string bytes;
  for (const Line& line : lines) {
    bytes += line.text + "\n";
  }
  struct stat status = {};
  const bool exists = stat(ethers_path, &status) == 0;
  write_atomically(ethers_path, bytes, exists ? status.st_mode & 07777 : mode_of_new_file);
}

}  // namespace

bool is_device_name(std::string_view text) {
  const bool is_word =
      !text.empty() && text.size() <= longest_name && is_letter_or_digit(text.front()) &&
      std::all_of(text.begin(), text.end(),
                  [](char c) { return is_letter_or_digit(c) || c == '-' || c == '_' || c == '.'; });
  // An IPv4 address, a part of one, and the number of an entry are such digits too.
  const bool is_number = text.find_first_not_of("0123456789.") == std::string_view::npos;
  return is_word && !is_number && !settings::looks_like_mac(text);
}

bool is_same_name(std::string_view one, std::string_view other) {
  return one.size() == other.size() && strncasecmp(one.data(), other.data(), one.size()) == 0;
}

std::vector<GivenName> given_names() {
  std::vector<GivenName> names;
  for (const Line& line : read_lines()) {
    if (line.mac && is_device_name(line.name())) {
      names.push_back({*line.mac, line.name()});
    }
  }
  return names;
}

void give_name(const settings::MacAddress& mac, const std::string& name) {
  std::vector<Line> lines = read_lines();
  for (const Line& line : lines) {
    if (line.mac && *line.mac != mac && is_same_name(line.name(), name)) {
      throw Error("\"" + name + "\" is the name of " + settings::mac_text(*line.mac) + " in " +
                      ethers_path + "; nothing was changed",
                  ErrorKind::invalid_input);
    }
  }
  const auto named =
      std::find_if(lines.begin(), lines.end(), [&](const Line& line) { return line.mac == mac; });
  if (named == lines.end()) {
    lines.push_back(line_of(settings::mac_text(mac) + " " + name));
  } else if (named->name() == name) {
    return;
  } else {
    named->text.replace(named->name_at, named->name_length, name);
  }
  write_lines(lines);
}

bool remove_name(const settings::MacAddress& mac) {
  std::vector<Line> lines = read_lines();
  const auto end =
      std::remove_if(lines.begin(), lines.end(), [&](const Line& line) { return line.mac == mac; });
  if (end == lines.end()) {
    return false;
  }
  lines.erase(end, lines.end());
  write_lines(lines);
  return true;
}

}  // namespace management
