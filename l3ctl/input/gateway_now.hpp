/* The gateway as packets meet it: its settings, and what its rules are bound to. */
#pragma once

#include <string>
#include <vector>

#include "settings/settings.hpp"
#include "settings/simulation/verdict.hpp"

namespace l3ctl {

using Notes = std::vector<std::string>;

struct Gateway {
  settings::Settings settings;
  settings::Bindings bindings;
};

/* With the stored settings, or as if `file` were applied where one is named. Throws where what is stored cannot
 * be explained; `notes` grows by what to know about the answers. */
Gateway gateway_now(const std::string& file, Notes& notes);

}  // namespace l3ctl
