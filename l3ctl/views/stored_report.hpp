/* What is said about a configuration file as bytes: by inspect, backup and restore alike. */
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "l3ctl/context.hpp"
#include "management/store/stored_check.hpp"
#include "settings/stored_file/stored_file.hpp"

namespace l3ctl {

/* "torn: byte 4659, WHERE: WHAT" */
std::string line_of(const settings::StoredFinding& finding);
/* What to do about it, in commands. */
std::string advice_on(const settings::StoredFinding& finding);

/* With null for what to do where the file is not in use. */
nlohmann::ordered_json as_json(const std::string& file, const settings::StoredFinding& finding);

/* The first findings on standard error; of the stored file with what to do, which no other file needs. */
void print_findings(const std::string& file, const settings::StoredFile& stored);

}  // namespace l3ctl
