/* The rules of route QoS as settings write them. */
#pragma once

#include <string>

#include "l3_advance/records.h"

namespace settings {

/* Bytes in hexadecimal, zero bytes at the end left out. */
std::string qos_rules_text(const l3_qos_rules& rules);

}  // namespace settings
