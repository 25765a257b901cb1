/* What is torn or implausible about a configuration file. */
#pragma once

#include "settings/stored_file/stored_file.hpp"

namespace settings {

/* `bytes` is the file as it was read; the findings are in the order of the file. */
std::vector<StoredFinding> findings_of(const StoredFile& file, std::string_view bytes);

/* The findings of one list: its count, and what its entries tell about it. */
void judge_list(const StoredSection& section, std::string_view image,
                std::vector<StoredFinding>& findings);

/* Values that no settings file can say; the reader of settings files judges. */
void judge_by_reader(const StoredFile& file, std::vector<StoredFinding>& findings);

/* What to do about a section: of settings, or of none. */
std::string set_again(const StoredSection& section);
std::string set_again(const std::string& setting);

inline constexpr char replace_the_file[] =
    "put a backup back (\"l3ctl restore BACKUP\"), or remove the file: the next start makes one "
    "with defaults";

/* Whether every byte of a part is zero. */
bool is_empty(std::string_view image, size_t offset, size_t size);

}  // namespace settings
