#include "l3ctl/views/field_changes.hpp"

#include "l3ctl/views/colour.hpp"

namespace l3ctl {

namespace {

using Json = nlohmann::ordered_json;

std::string value_text(const Json& value) {
  return value.is_null() ? "(not set)" : value.dump(-1, ' ', true, Json::error_handler_t::replace);
}

std::string line(const FieldChange& change) {
  if (change.old_value.is_null() && change.new_value.is_null()) {
    return change.path + ": stored bytes that no field shows";
  }
  const std::string old_text = value_text(change.old_value);
  const std::string new_text = value_text(change.new_value);
  if (change.path.ends_with(']') && change.new_value.is_null()) {
    return painted(Paint::bad, "- " + change.path + ": " + old_text);
  }
  if (change.path.ends_with(']') && change.old_value.is_null()) {
    return painted(Paint::good, "+ " + change.path + ": " + new_text);
  }
  return change.path + ": " + painted(Paint::bad, old_text) + " -> " +
         painted(Paint::good, new_text);
}

}  // namespace

std::string field_lines(const std::vector<FieldChange>& changes) {
  std::string text;
  for (const FieldChange& change : changes) {
    text += line(change) + "\n";
  }
  return text;
}

Json field_list(const std::vector<FieldChange>& changes) {
  Json list = Json::array();
  for (const FieldChange& change : changes) {
    list.push_back({{"path", change.path}, {"old", change.old_value}, {"new", change.new_value}});
  }
  return list;
}

}  // namespace l3ctl
