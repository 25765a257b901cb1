/* The bytes of a configuration file in this host's byte order, 15019 of them, as settings. */
#pragma once

#include <string>
#include <string_view>

#include "settings/model.hpp"

namespace settings {

/* Every section, as the library's get calls return it. */
Settings settings_of(std::string_view image);

/* The two switches, as the library reads them: everything but "1\n" is off. */
bool vpn_of(std::string_view image);
bool firewall_of(std::string_view image);

/* The image with both lines in their canonical form. */
std::string with_clean_lines(std::string_view image);

}  // namespace settings
