#include "management/devices/neighbours.hpp"

#include <algorithm>
#include <ctime>
#include <nlohmann/json.hpp>
#include <optional>

#include "executor/process.hpp"
#include "management/system/find_tool.hpp"

namespace management {

namespace {

using Json = nlohmann::json;

std::string text_of(const Json& entry, const char* key) {
  const auto found = entry.find(key);
  return found != entry.end() && found->is_string() ? found->get<std::string>() : "";
}

/* Seconds since the kernel last noted this of an entry. */
int64_t age_of(const Json& entry, const char* key) {
  const auto found = entry.find(key);
  return found != entry.end() && found->is_number_unsigned() ? found->get<int64_t>() : INT64_MAX;
}

/* Nothing for an entry without a device, such as an address that nobody answers for. */
std::optional<Neighbour> neighbour_of(const Json& entry, int64_t now) {
  if (!entry.is_object()) {
    return {};
  }
  const std::string address = text_of(entry, "dst");
  const auto mac = settings::parse_mac(text_of(entry, "lladdr")).value;
  const bool is_address =
      settings::parse_ipv4(address).value || settings::parse_ipv6(address).value;
  if (!mac || !is_address) {
    return {};
  }
  const int64_t age = std::min(age_of(entry, "confirmed"), age_of(entry, "updated"));
  return Neighbour{*mac, address, age > now ? 0 : now - age};
}

std::string first_line(const std::string& text) {
  return text.substr(0, text.find('\n'));
}

}  // namespace

std::vector<Neighbour> read_neighbours(std::vector<std::string>& notes) {
  const std::string unread = "the neighbour table was not read: ";
  if (tool_path("ip").empty()) {
    notes.push_back(unread + not_in_path({"ip"}));
    return {};
  }
  const executor::ProcessResult run =
      executor::run({"ip", "-j", "-s", "neigh", "show", "dev", home_interface});
  if (run.exit_status() != 0) {
    notes.push_back(unread + "ip ends with " + std::to_string(run.exit_status()) + ": " +
                    first_line(run.errors));
    return {};
  }
  // An empty table may be an empty text.
  const Json table = run.output.empty() ? Json::array() : Json::parse(run.output, nullptr, false);
  if (!table.is_array()) {
    notes.push_back(unread + "this ip writes no JSON");
    return {};
  }
  const int64_t now = std::time(nullptr);
  std::vector<Neighbour> neighbours;
  for (const Json& entry : table) {
    if (auto neighbour = neighbour_of(entry, now)) {
      neighbours.push_back(*std::move(neighbour));
    }
  }
  return neighbours;
}

}  // namespace management
