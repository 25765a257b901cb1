#include "inspected.hpp"

std::optional<bool> inspect_tells(const std::string&, Torn, const std::vector<std::string>&) {
  return std::nullopt;
}
