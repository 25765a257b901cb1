#include "console/server/http.hpp"

#include <algorithm>

namespace console {

namespace {

/* Cuts the text up to the separator off. */
std::string_view take_part(std::string_view& text, char separator) {
  const std::size_t end = std::min(text.find(separator), text.size());
  const std::string_view part = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return part;
}

}  // namespace

std::string header(const Request& request, std::string_view name) {
  for (const auto& [own, value] : request.headers) {
    if (own == name) {
      return value;
    }
  }
  return {};
}

bool has_header(const Request& request, std::string_view name) {
  return std::any_of(request.headers.begin(), request.headers.end(),
                     [name](const auto& one) { return one.first == name; });
}

std::string query_parameter(const Request& request, std::string_view name) {
  std::string_view rest = request.query;
  while (!rest.empty()) {
    std::string_view part = take_part(rest, '&');
    if (take_part(part, '=') == name) {
      return std::string(part);
    }
  }
  return {};
}

std::string cookie(const Request& request, std::string_view name) {
  const std::string all = header(request, "cookie");
  std::string_view rest = all;
  std::string found;
  int count = 0;
  while (!rest.empty()) {
    std::string_view part = take_part(rest, ';');
    part.remove_prefix(std::min(part.find_first_not_of(' '), part.size()));
    if (take_part(part, '=') == name) {
      found = part;
      ++count;
    }
  }
  return count == 1 ? found : std::string();
}

bool starts_with(std::string_view text, std::string_view beginning) {
  return text.substr(0, beginning.size()) == beginning;
}

std::string lower_case(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return lower;
}

}  // namespace console
