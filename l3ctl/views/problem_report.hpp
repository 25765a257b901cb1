/* What a change of the settings closes, and what a filter cannot do, in words for people. */
#pragma once

#include "settings/settings.hpp"

namespace l3ctl {

/* What the URL filter cannot see, for whoever relies on it. */
inline constexpr char url_filter_limits[] =
    "url_filter sees only DNS queries over IPv4 and UDP that the gateway forwards; queries to "
    "the gateway's own resolver, over IPv6, over TCP or encrypted pass it";

/* Warns of what a change brings: of the warnings about the settings as they will be those that are
 * neither about what is stored now, nor about the `told` settings. Switching the firewall on brings
 * every lock-out of its lists. */
void warn_of_change(const settings::Settings& stored, const settings::Settings& changed,
                    const settings::Settings& told = {});

}  // namespace l3ctl
