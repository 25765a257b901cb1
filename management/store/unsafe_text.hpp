/* Stored texts that reach the shell as they are: the library trusts whoever stored them. */
#pragma once

#include <string>

#include "settings/settings.hpp"

namespace management {

/* Names the first text that a shell could take for more than a name or an address, by its section and
 * entry; empty where there is none. */
std::string find_unsafe_text(const settings::Settings& stored);

/* Ends the program where the stored settings hold such a text: any command might run it. */
void reject_unsafe_text(const settings::Settings& stored);

/* The same for the file that a start would migrate, where there is one. */
void reject_unsafe_migration();

}  // namespace management
