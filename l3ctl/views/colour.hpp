/* Colours for people at a terminal; whatever reads from a pipe or a file gets plain text. */
#pragma once

#include <cstdint>
#include <string>

namespace l3ctl {

enum class Paint : uint8_t { plain, strong, faint, good, bad, warning };

/* Whether standard output is a terminal whose user wants colours: NO_COLOR, where it is set and not
 * empty, says no, and so does a terminal named "dumb". */
bool is_colourful();

/* The text, painted where is_colourful(). Painting adds bytes, so align a text first. */
std::string painted(Paint paint, const std::string& text);

/* Good for "on" and "yes", faint for "off", "no" and "none"; plain for anything else. */
Paint paint_of_state(const std::string& word);

}  // namespace l3ctl
