/* The configuration file taken apart: whether it is whole and plausible. */
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "settings/stored_file/stored_file.hpp"

namespace management {

/* Far more than a configuration file has, and little enough for a gateway. */
inline constexpr size_t largest_stored_file = 1 << 16;

/* The file taken apart; `file` is where it lies, "-" is standard input. */
settings::StoredFile inspect_stored_file(const std::string& file, std::string_view bytes);

/* Whether it is the stored file, by whatever name: remedies are about that file alone. */
bool is_in_use(const std::string& file);

/* So many findings show what a file is like. */
inline constexpr size_t few_findings = 5;

const char* name_of(settings::ByteOrder order);
const char* name_of(settings::StoredFinding::Kind kind);

/* Throws where anything but a regular file lies in the place of a stored file: the library, and the tools
 * that it starts, would open it and wait. */
void require_regular_store();

/* One line for a stored file that is torn or implausible; empty for any other, and where there is none. Throws where it
 * cannot be read. */
std::string stored_damage();

/* Notifies of a damaged stored file, and of one that cannot be checked. */
void warn_of_stored_damage();

}  // namespace management
