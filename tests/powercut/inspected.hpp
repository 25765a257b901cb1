/* What `l3ctl inspect` would say of a torn configuration file, by the same reader. */
#pragma once

#include <optional>
#include <string>
#include <vector>

enum class Torn { some_sections, cut_section, short_file };

/* Whether it tells that the file is torn or implausible, beyond what it says of the whole ones; the test
 * fails where it says what docs/reliability.md does not have for such a file, or nothing where it should
 * always. No answer in builds without the reader. */
std::optional<bool> inspect_tells(const std::string& file, Torn torn,
                                  const std::vector<std::string>& whole_files);
