/* What people may write in an entry of the access list besides the words of the settings. */
#pragma once

#include <nlohmann/json.hpp>

namespace l3ctl {

/* Puts a range for a prefix such as 192.168.1.0/24, and a service of the list for a name of /etc/services. Throws
 * where there is none. */
void complete_acl_entry(nlohmann::ordered_json& entry);

}  // namespace l3ctl
