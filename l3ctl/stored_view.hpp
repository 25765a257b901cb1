/* What is said about a configuration file as bytes: by inspect, backup and restore alike. */
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "settings/stored_file.hpp"

namespace l3ctl {

/* Far more than a configuration file has, and little enough for a gateway. */
inline constexpr size_t largest_stored_file = 1 << 16;

/* The file taken apart; `file` is where it lies, "-" is standard input. */
settings::StoredFile judged(const std::string& file, std::string_view bytes);

/* Whether it is the stored file, by whatever name: only of that there is something to do. */
bool is_in_use(const std::string& file);

const char* name_of(settings::ByteOrder order);
const char* name_of(settings::StoredFinding::Kind kind);

/* "torn: byte 4659, WHERE: WHAT" */
std::string line_of(const settings::StoredFinding& finding);
/* With null for what to do where the file is not in use. */
nlohmann::ordered_json as_json(const std::string& file, const settings::StoredFinding& finding);

/* So many findings show what a file is like; inspect tells all. */
inline constexpr size_t few_findings = 5;

/* The first findings on standard error; of the stored file with what to do, which no other file needs. */
void tell_findings(const std::string& file, const settings::StoredFile& stored);

}  // namespace l3ctl
