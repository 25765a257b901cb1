/* The lists of a configuration file whose entries have time spans: their bytes, and all their spans shifted. The image
 * has stored_size bytes, its words in this host's order. */
#pragma once

#include <string>
#include <string_view>

namespace settings {

/* Whether the section of settings holds such a list. */
bool has_spans(std::string_view section);

/* The bytes of these lists. */
std::string span_lists_of(std::string_view image);

/* The image with every span as the local clock shows it at the old offset, in UTC at the new one. */
std::string with_shifted_spans(std::string image, int old_offset, int new_offset);

}  // namespace settings
