/* What the platform says of itself. */
#pragma once

#include <string>

namespace management {

/* The interface that carries Internet traffic; empty when there is none. */
std::string internet_wan_name();

/* The gateway's own address on the LAN; empty when it is not known. */
std::string lan_address();

}  // namespace management
