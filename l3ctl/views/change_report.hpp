/* What a change has done, for people and programs. */
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "l3ctl/context.hpp"
#include "management/change/change.hpp"

namespace l3ctl {

/* Finishes the change and prints its result: on standard error what failed, on standard output `done`, or
 * an object with it and with `members`. Returns the exit status. */
int report(const Context& context, Change& change, const std::string& done,
           const nlohmann::ordered_json& members);
int report(const Context& context, Change& change, const std::string& done);

/* Prints a result that is there already. */
int print_result(const Context& context, const ChangeResult& result, const std::string& done,
                 const nlohmann::ordered_json& members);

}  // namespace l3ctl
