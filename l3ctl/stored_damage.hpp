/* What commands that do not show the configuration file say of one that nobody should trust. */
#pragma once

#include <string>

namespace l3ctl {

/* One line for a file that is torn or implausible; empty for any other, and where there is none. */
std::string stored_damage();

/* The same as a warning that names "l3ctl inspect"; nothing for a sound file. */
void warn_of_stored_damage();

}  // namespace l3ctl
