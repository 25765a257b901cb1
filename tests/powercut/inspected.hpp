/* What `l3ctl inspect` reports of a torn configuration file, from the same reader. */
#pragma once

#include <string>
#include <vector>

enum class Torn { some_sections, cut_section, short_file };

/* Fails the test where it reports what docs/reliability.md does not have for such a file, or nothing of a
 * short one. What it reports of the whole files too does not count. Does nothing in builds without the
 * reader. */
void inspect(const std::string& file, Torn torn, const std::vector<std::string>& whole_files);
