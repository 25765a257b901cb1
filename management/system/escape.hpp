/*
 * Text made safe to print. A terminal acts on control characters and reorders text at bidirectional
 * controls, so whatever comes from a file, a command line, a tool or the network is escaped before it is
 * printed: C0, DEL, U+0080 to U+009F, bidirectional controls, line and paragraph separators, and bytes that
 * are not UTF-8.
 */
#pragma once

#include <string>
#include <string_view>

namespace management {

std::string in_hexadecimal(std::string_view bytes);

/* For one line of text: "\x1b" for a byte below U+0080 and for one that is not UTF-8, "\u202e" for a code
 * point. A line feed is escaped too. Text that is escaped already stays as it is. */
std::string escape(std::string_view text);

/* The same for several lines: line feeds stay. */
std::string escape_lines(std::string_view text);

}  // namespace management
