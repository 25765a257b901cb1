/* The stored settings, read through the library. */
#pragma once

#include "settings/settings.hpp"

namespace management {

/* Whether there is a configuration file. */
bool stored_exists();

/* Everything that is stored, loaded into the library too. A missing file is created. */
settings::Settings load_stored();

/* The same without any change: where there is no file yet, the defaults that it would get. */
settings::Settings stored_or_defaults();

}  // namespace management
