/* What may stand for a time zone: the forms of the name and of the file behind it. */
#pragma once

#include <string>
#include <string_view>

namespace settings {

/* A POSIX TZ string whose offsets are whole minutes and whose summer time, where it has one, comes with its rules: what a
 * C library assumes without them differs. */
bool is_posix_zone(std::string_view text);

/* Path segments as IANA uses them, such as "America/Argentina/Ushuaia". */
bool is_zone_name(std::string_view text);

/* Whether these bytes are a whole zone file (RFC 8536): every part that its headers announce is there, and every index
 * leads somewhere. */
bool is_zone_file(std::string_view bytes);

}  // namespace settings
