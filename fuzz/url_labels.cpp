/* Host names: the label form, and the same form as the packet filter gets it through the shell. */
#include <array>

#include "input.hpp"
#include "oracle.hpp"
#include "world.hpp"

using namespace fuzz;

namespace {

constexpr size_t form_size = 33;
using Form = std::array<char, form_size>;

bool is_refused(const std::string& name) {
  return name.empty() || name == "." || name.size() > 31;
}

/* The form label by label; the length of an empty one is its predecessor's, and so many characters of
 * the name are left out. */
Form expected(const std::string& name) {
  Form form = {};
  std::string rest = name.starts_with('.') ? name.substr(1) : name;
  size_t at = 0;
  size_t length = 0;
  while (!rest.empty()) {
    const std::string label = rest.substr(0, rest.find('.'));
    length = label.empty() ? length : label.size();
    form.at(at) = static_cast<char>(length);
    std::copy(label.begin(), label.end(), form.begin() + static_cast<ptrdiff_t>(at) + 1);
    rest.erase(0, length + 1);
    at += length + 1;
  }
  return form;
}

void check_form(const std::string& name, Form& form) {
  char buffer[form_size + 1] = {};
  constexpr char untouched = 0x5a;
  buffer[form_size] = untouched;
  const int32_t result = parse_url(name.c_str(), buffer);
  check(result == (is_refused(name) ? -1 : 0), "a name has 1 to 31 characters", name);
  check(buffer[form_size] == untouched, "33 bytes are written", name);
  memcpy(form.data(), buffer, form_size);
  check(form.back() == '\0', "the form is terminated", name);
  if (result == 0) {
    check(form == expected(name), "a length stands before each label", name);
  }
}

/* A field that is full has no terminator, and its 32 characters are no name. */
void check_rule(const std::string& name, const Form& form) {
  start_process();
  l3_url_filter& filter = fw_rules_table.url_filter;
  filter.count = 1;
  filter.entries[0].url_enable = 1;
  memcpy(filter.entries[0].url, name.data(), std::min(name.size(), sizeof(filter.entries[0].url)));
  config_fw_url();

  const std::string labels = is_refused(name) ? "" : form.data();
  check(world.commands.size() == 1, "one name makes one rule", name);
  const auto words = shell_words(world.commands[0]);
  check(words.size() == 23 && words[11] == "--string", "a name stays one word", name);
  check(words[12] == labels, "the packet filter gets the label form", name);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string name = Input(data, size).text();
  Form form = {};
  check_form(name, form);
  check_rule(name, form);
  return 0;
}
