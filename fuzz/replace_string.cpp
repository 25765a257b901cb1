/* replace_string() against the same on strings without a bound, and the trimming of spaces. */
#include "input.hpp"
#include "oracle.hpp"
#include "world.hpp"

using namespace fuzz;

namespace {

struct Replaced {
  int32_t result;
  std::string text;
};

Replaced expected(const std::string& text, const std::string& old_text,
                  const std::string& new_text) {
  if (text.size() >= 256) {
    return {-1, text};
  }
  std::string changed = text;
  int32_t result = 0;
  for (size_t at = 0; !old_text.empty(); at += new_text.size()) {
    at = changed.find(old_text, at);
    if (at == std::string::npos) {
      break;
    }
    changed.replace(at, old_text.size(), new_text);
    result = 1;
  }
  if (changed.size() >= 256) {
    return {-1, text};
  }
  return {result, changed};
}

void check_trimming(std::string text) {
  std::string trimmed = text;
  trimmed.erase(0, std::min(trimmed.find_first_not_of(' '), trimmed.size()));
  trimmed.erase(trimmed.find_last_not_of(' ') + 1);
  cli_trimming_whitespace_from_string(text.data());
  check(std::string_view(text.data()) == trimmed, "spaces around a text go, and nothing else",
        trimmed);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  const std::string old_text = input.text();
  const std::string new_text = input.text();
  const std::string text = input.text();

  // As large as the larger of text and result may be.
  std::string buffer = text;
  buffer.resize(std::max<size_t>(text.size(), 255));
  const Replaced wanted = expected(text, old_text, new_text);
  const int32_t result = replace_string(buffer.data(), old_text.c_str(), new_text.c_str());
  check(result == wanted.result, "the result says what happened", text);
  check(std::string_view(buffer.data()) == wanted.text, "every occurrence is replaced, or none",
        text);
  check_trimming(text);
  return 0;
}
