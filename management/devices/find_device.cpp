#include "management/devices/find_device.hpp"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "management/devices/devices.hpp"
#include "management/devices/ethers.hpp"
#include "management/error.hpp"
#include "management/system/text.hpp"

namespace management {

namespace {

using settings::mac_text;
using settings::MacAddress;
using settings::Parsed;
using Found = Parsed<MacAddress>;

constexpr size_t most_candidates = 8;

struct Candidate {
  MacAddress mac;
  std::string beside; /* how else the device is known */
};

std::string text_of(const Candidate& candidate) {
  return mac_text(candidate.mac) + (candidate.beside.empty() ? "" : " (" + candidate.beside + ")");
}

/* What else than a hardware address is taken. */
constexpr const char* any_device = "the name or an address of a device";
constexpr const char* named_device = "the name of a device in /etc/ethers";

std::string or_a_device(const char* kind, const std::string& why = {}) {
  return settings::parse_mac("").allowed + ", or " + kind + (why.empty() ? "" : ": " + why);
}

bool is_address(const std::string& word) {
  return word != "any" && (settings::parse_ipv4(word).value || settings::parse_ipv6(word).value);
}

/* As the sources write it. */
std::string plain_address(const std::string& word) {
  if (const auto ipv4 = settings::parse_ipv4(word).value) {
    return settings::ipv4_text(*ipv4);
  }
  return settings::ipv6_text(*settings::parse_ipv6(word).value);
}

/* The one candidate, announced; or what is wrong with none or several. */
Found only_one(const char* kind, const std::string& word, const std::vector<Candidate>& candidates,
               const std::string& why_none) {
  if (candidates.empty()) {
    return {{}, or_a_device(kind, why_none)};
  }
  if (candidates.size() == 1) {
    notify("note: \"" + word + "\" is " + text_of(candidates[0]));
    return {candidates[0].mac, {}};
  }
  std::string list;
  for (size_t i = 0; i < std::min(candidates.size(), most_candidates); ++i) {
    list += (i == 0 ? "" : ", ") + text_of(candidates[i]);
  }
  return {
      {},
      or_a_device(kind, "\"" + word + "\" stands for " + std::to_string(candidates.size()) + ": " +
                            list + (candidates.size() > most_candidates ? ", ..." : ""))};
}

Candidate with_addresses(const Device& device) {
  std::vector<std::string> all = device.ipv4;
  all.insert(all.end(), device.ipv6.begin(), device.ipv6.end());
  return {device.mac, joined(all)};
}

std::vector<Candidate> by_address(const Devices& devices, const std::string& address) {
  std::vector<Candidate> candidates;
  for (const Device& device : devices.list) {
    for (const auto* addresses : {&device.ipv4, &device.ipv6}) {
      if (std::find(addresses->begin(), addresses->end(), address) != addresses->end()) {
        candidates.push_back({device.mac, device.name()});
      }
    }
  }
  return candidates;
}

std::vector<Candidate> by_own_name(const Devices& devices, const std::string& name) {
  std::vector<Candidate> candidates;
  for (const Device& device : devices.list) {
    if (is_same_name(device.own_name, name)) {
      candidates.push_back(with_addresses(device));
    }
  }
  return candidates;
}

std::vector<Candidate> by_given_name(const std::string& name) {
  std::vector<Candidate> candidates;
  for (const GivenName& given : given_names()) {
    const bool is_listed =
        std::any_of(candidates.begin(), candidates.end(),
                    [&](const Candidate& candidate) { return candidate.mac == given.mac; });
    if (!is_listed && is_same_name(given.name, name)) {
      candidates.push_back({given.mac, std::string("by ") + ethers_path});
    }
  }
  return candidates;
}

Found look_up_named(const std::string& word) {
  if (!is_device_name(word)) {
    return {{}, or_a_device(named_device)};
  }
  try {
    return only_one(named_device, word, by_given_name(word), "none is called so");
  } catch (const Error& failure) {
    return {{}, or_a_device(named_device, failure.what())};
  }
}

Found look_up(const std::string& word) {
  const bool is_by_address = is_address(word);
  if (!is_by_address && !is_device_name(word)) {
    return {{}, or_a_device(any_device)};
  }
  if (!is_by_address) {
    std::vector<Candidate> given;
    try {
      given = by_given_name(word);
    } catch (const Error&) {
      // It is one of the notes on the sources, below.
    }
    if (!given.empty()) {
      return only_one(any_device, word, given, {});
    }
  }
  const Devices devices = known_devices();
  const std::string why =
      is_by_address ? "none is known to have this address" : "none is known by this one";
  return only_one(
      any_device, word,
      is_by_address ? by_address(devices, plain_address(word)) : by_own_name(devices, word),
      why + (devices.notes.empty() ? "" : " (" + joined(devices.notes, "; ") + ")"));
}

/* A word stands for the same device as long as the process runs, and its notice is printed once. */
template <Found (*look)(const std::string&)>
Found remembered(std::string_view word) {
  static std::map<std::string, Found, std::less<>> answers;
  Found mac = settings::parse_mac(word);
  if (mac.value || word.empty() || settings::looks_like_mac(word)) {
    return mac;
  }
  const auto known = answers.find(word);
  if (known != answers.end()) {
    return known->second;
  }
  const std::string text(word);
  return answers.emplace(text, look(text)).first->second;
}

}  // namespace

Found find_device(std::string_view word) {
  return remembered<look_up>(word);
}

Found find_named_device(std::string_view word) {
  return remembered<look_up_named>(word);
}

}  // namespace management
