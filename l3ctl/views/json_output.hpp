/* JSON as every command prints it: valid UTF-8 whatever is stored, and nothing that a terminal acts on. */
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace l3ctl {

/* With a line feed at its end. An indent of -1 keeps it on one line. */
std::string json_text(const nlohmann::ordered_json& value, int indent = 2);

/* Prints it on standard output. */
void print_json(const nlohmann::ordered_json& value);

}  // namespace l3ctl
