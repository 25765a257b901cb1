#include "l3ctl/views/json_output.hpp"

#include <iostream>
#include <nlohmann/json.hpp>

namespace l3ctl {

std::string json_text(const nlohmann::ordered_json& value, int indent) {
  return value.dump(indent, ' ', true, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

void print_json(const nlohmann::ordered_json& value) {
  std::cout << json_text(value);
}

}  // namespace l3ctl
