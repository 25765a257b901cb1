/* The words of entries, as JSON of the settings. */
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "l3ctl/commands/filter.hpp"

namespace l3ctl {

/* Throws an error of the filter's command: nothing was changed. */
[[noreturn]] void refuse(const Filter& filter, const std::string& message);

/* The text that settings have for the device which a word means. */
std::string mac_of(const Filter& filter, const std::string& word);

/* The entry that KEY=VALUE words describe; a word without "=" is the value of the filter's main key. */
nlohmann::ordered_json entry_of(const Filter& filter, const std::vector<std::string>& words);

/* Words of one or several entries: "and" ends one, and so does a bare word behind KEY=VALUE; bare words side by side
 * get the same keys. */
std::vector<nlohmann::ordered_json> entries_of_words(const Filter& filter,
                                                     const std::vector<std::string>& words);

}  // namespace l3ctl
