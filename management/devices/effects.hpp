/* What settings do to a device, now and next: the verdicts on packets that every device sends. */
#pragma once

#include <cstdint>
#include <vector>

#include "management/devices/devices.hpp"
#include "settings/simulation/day.hpp"

namespace management {

/* A connection to an Internet address that no rule names, by HTTPS; and a request for an address. */
enum class Traffic : uint8_t { ipv4, ipv6, dhcp };

inline constexpr Traffic all_traffic[] = {Traffic::ipv4, Traffic::ipv6, Traffic::dhcp};

struct Effect {
  Traffic traffic = Traffic::ipv4;
  std::vector<settings::Period> day;
  settings::Moment moment;

  [[nodiscard]] bool is_blocked() const { return moment.now.outcome == settings::Outcome::dropped; }
};

/* The addresses from which a device sends into the Internet. */
std::vector<std::string> forwarded_addresses(const Device& device, bool is_ipv6);

/* One effect for each kind of traffic. Of several addresses of a device, one that is blocked counts. */
std::vector<Effect> effects_on(const Device& device, const settings::Settings& settings,
                               const settings::Bindings& bindings, uint32_t second);

/* The same for a device that no setting names. */
std::vector<Effect> effects_on_others(const settings::Settings& settings,
                                      const settings::Bindings& bindings, uint32_t second);

/* The devices that the settings name. */
std::vector<settings::MacAddress> listed_devices(const settings::Settings& settings);

}  // namespace management
