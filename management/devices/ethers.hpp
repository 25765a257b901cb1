/* The names that people give to devices: /etc/ethers, as ethers(5) describes it. */
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "settings/values.hpp"

namespace management {

inline constexpr char ethers_path[] = "/etc/ethers";

struct GivenName {
  settings::MacAddress mac;
  std::string name;
};

/* Whether people may call a device so: letters, digits, "-", "_" and "." behind a letter or digit, at
 * most 63 characters. A number, or what looks like an address, is no name. */
bool is_device_name(std::string_view text);

/* Host names are the same in capitals. */
bool is_same_name(std::string_view one, std::string_view other);

/* The names in their order. Lines that are no name of a device are passed over; a missing file has none. */
std::vector<GivenName> given_names();

/* Names a device, or renames it. Every other line and every comment stays. Throws where the name is taken. */
void give_name(const settings::MacAddress& mac, const std::string& name);

/* Removes a device's lines; false where it has none. */
bool remove_name(const settings::MacAddress& mac);

}  // namespace management
