/* The verbs of a filter's command that change one entry: add and delete. */
#pragma once

#include <string>
#include <vector>

#include "l3ctl/commands/filter.hpp"
#include "l3ctl/context.hpp"

namespace l3ctl {

/* Adds to every list the entry that words such as "host=example.com" describe; a word without "="
 * is the value of the filter's main key. Nothing is changed unless all lists can take it. */
int add_entry(const Context& context, const Filter& filter, std::span<const FilterList> lists,
              const std::vector<std::string>& words);

/* Deletes from every list the entry of that number, or those with that value of the main key. */
int delete_entry(const Context& context, const Filter& filter, std::span<const FilterList> lists,
                 const std::string& which);

}  // namespace l3ctl
