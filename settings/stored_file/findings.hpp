/* What is torn or implausible about a configuration file. */
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "settings/stored_file/finding.hpp"
#include "settings/stored_file/layout.hpp"

namespace settings {

/* `bytes` is the file as it was read, `image` the whole of it in this host's byte order; the findings are
 * in the order of the file. */
std::vector<StoredFinding> findings_of(std::string_view image, std::string_view bytes);

/* The findings about one list: its count, and its entries. */
void judge_list(const StoredSection& section, std::string_view image,
                std::vector<StoredFinding>& findings);

/* Values that no settings file can express, decided by the reader of settings files. */
void check_by_reader(std::string_view image, std::vector<StoredFinding>& findings);

/* A finding that setting the section anew puts right. No call sets the parts of a record that belong
 * to no section. */
StoredFinding finding_in(const StoredSection& section, StoredFinding::Kind kind, size_t offset,
                         std::string where, std::string what);

/* Whether every byte of a part is zero. */
bool is_empty(std::string_view image, size_t offset, size_t size);

}  // namespace settings
