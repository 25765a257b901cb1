/* Which device a word means: its hardware address, its name, or an address that it has. */
#pragma once

#include <string_view>

#include "settings/values.hpp"

namespace management {

/*
 * For words of a command line. What has the form of a hardware address is one, what has that of an IP
 * address is looked for among the devices' addresses, and everything else among the names: those given by
 * people first, so that no device takes another's name, then those that devices give themselves. Sources are
 * read only for a word that is no hardware address, and what it stands for is a notice. A word of none,
 * or of several devices has no value; `allowed` says why.
 */
settings::Parsed<settings::MacAddress> find_device(std::string_view word);

/* For settings files, which are applied unseen and later: a hardware address, or a name given by people. What a device
 * says of itself does not count. */
settings::Parsed<settings::MacAddress> find_named_device(std::string_view word);

}  // namespace management
