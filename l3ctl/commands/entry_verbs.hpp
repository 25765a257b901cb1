/* The verbs of a filter's command that change entries or the mode: add, delete, set, mode. */
#pragma once

#include <string>
#include <vector>

#include "l3ctl/commands/filter.hpp"
#include "l3ctl/context.hpp"

namespace l3ctl {

/* Adds to every list the entries that words such as "host=example.com" describe; a word without "=" is the value of
 * the filter's main key. An entry that is there already is not added. Nothing is changed unless all lists can take
 * all. */
int add_entries(const Context& context, const Filter& filter, Lists lists,
                const std::vector<std::string>& words);

/* Deletes from every list the entries of these numbers, or those with these values of the main key. */
int delete_entries(const Context& context, const Filter& filter, Lists lists,
                   const std::vector<std::string>& words);

/* Changes keys of the entry that is named; `words` are KEY=VALUE. */
int set_entry(const Context& context, const Filter& filter, Lists lists, const std::string& name,
              const std::vector<std::string>& words);

/* Sets the modes of the lists: "white-list", or "upstream=white-list" where there are two. */
int set_modes(const Context& context, const Filter& filter, Lists lists,
              const std::vector<std::string>& words);

}  // namespace l3ctl
