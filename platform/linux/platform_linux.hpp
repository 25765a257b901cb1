/*
 * The platform calls (l3_advance/platform.h) on an ordinary Linux machine, as real as they can be.
 *
 * What has to survive between processes lies in small files of one directory:
 *
 *   log_level          the highest level that is logged, in decimal: 2 errors, 4 traces too
 *   vpn_pass_through   the resource manager's switch, "0" or "1"
 *   vpn_driver         the last setting of the forwarding driver, "PROTOCOL STATE"
 *   route_qos          the 248-byte route-QoS record that was last programmed
 *   versions           the registered version banners, a line each
 */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace platform_linux {

inline constexpr char state_directory[] = "/run/l3_advance";

enum class LogDestination { standard_error, syslog };

/* Where log lines go; standard error at start. */
void log_to(LogDestination destination);

/* Applied to every line for standard error, whose terminal acts on control characters; none at start. */
using LineFilter = std::string (*)(std::string_view line);
void filter_log_lines(LineFilter filter);

/* The level that applies while there is no log_level file; 2 at start. */
void set_default_log_level(std::int32_t level);

/* Called for every platform call that changes something, with the call as C text; a record is in
 * hexadecimal without the zero bytes at its end. At start there is no observer. */
using Observer = void (*)(const std::string& call);
void observe(Observer observer);

/* The Internet WAN's interface, whole: up to 15 characters, where getIfName() hands over at most 5.
 * Empty where there is none, or where its name might be more than a name to the shell. */
std::string internet_wan_name();

/* One file of the state directory. Reading yields an empty text where there is none; writing
 * replaces the whole file or leaves it as it was, and says whether it did. */
std::string read_state(const char* name);
bool write_state(const char* name, const std::string& bytes);

}  // namespace platform_linux
