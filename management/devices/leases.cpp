#include "management/devices/leases.hpp"

#include <charconv>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <sstream>

#include "management/error.hpp"
#include "management/system/atomic_file.hpp"

namespace management {

namespace {

/* OpenWrt; Debian; other gateways with dnsmasq. */
constexpr char usual_files[] =
    "/tmp/dhcp.leases:/var/lib/misc/dnsmasq.leases:/var/lib/dnsmasq/dnsmasq.leases:"
    "/tmp/dnsmasq.leases:/var/run/dnsmasq.leases:/var/db/dnsmasq.leases";
/* Ten thousand leases. */
constexpr size_t largest_file = 1 << 20;
constexpr size_t longest_line = 1024;
/* A smaller end of a lease is no time but a duration: dnsmasq writes it on machines without a clock. */
constexpr int64_t first_time = 1'000'000'000;

std::vector<std::string> lease_files() {
  const char* chosen = std::getenv(leases_variable);
  std::istringstream names(chosen != nullptr ? chosen : usual_files);
  std::vector<std::string> files;
  for (std::string name; std::getline(names, name, ':');) {
    if (!name.empty()) {
      files.push_back(name);
    }
  }
  return files;
}

/* "1700000000 02:00:00:00:00:01 192.168.1.10 tablet 01:02:..": end, device, address, name, client. */
std::optional<Lease> lease_of(const std::string& line) {
  std::istringstream words(line);
  std::string end;
  std::string mac;
  Lease lease;
  if (line.size() > longest_line || !(words >> end >> mac >> lease.address >> lease.name)) {
    return {};
  }
  int64_t time = 0;
  const char* last = end.data() + end.size();
  const auto device = settings::parse_mac(mac).value;
  if (std::from_chars(end.data(), last, time).ptr != last || !device || lease.address == "any" ||
      !settings::parse_ipv4(lease.address).value) {
    return {};
  }
  lease.mac = *device;
  lease.name = lease.name == "*" ? "" : lease.name;
  lease.is_over = time >= first_time && time < std::time(nullptr);
  return lease;
}

void read_file(const std::string& file, std::vector<Lease>& leases,
               std::vector<std::string>& notes) {
  const auto bytes = read_start_if_exists(file, largest_file);
  if (!bytes) {
    return;
  }
  std::istringstream lines(*bytes);
  size_t damaged = 0;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("duid ")) {
      break;  // The leases of IPv6 follow, which name no hardware address.
    }
    if (lines.eof() && bytes->size() == largest_file) {
      notes.push_back(file + ": only its first MiB was read");
      break;
    }
    if (auto lease = lease_of(line)) {
      leases.push_back(*std::move(lease));
    } else if (!line.empty()) {
      ++damaged;
    }
  }
  if (damaged != 0) {
    notes.push_back(file + ": " + std::to_string(damaged) +
                    (damaged == 1 ? " line is no lease" : " lines are no leases"));
  }
}

}  // namespace

std::vector<Lease> read_leases(std::vector<std::string>& notes) {
  std::vector<Lease> leases;
  for (const std::string& file : lease_files()) {
    try {
      read_file(file, leases, notes);
    } catch (const Error& failure) {
      notes.emplace_back(failure.what());
    }
  }
  return leases;
}

}  // namespace management
