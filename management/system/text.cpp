#include "management/system/text.hpp"

#include <algorithm>

namespace management {

std::string joined(const std::vector<std::string>& words, const std::string& separator) {
  std::string text;
  for (const std::string& word : words) {
    text += (text.empty() ? "" : separator) + word;
  }
  return text;
}

std::string padded(std::string text, size_t width) {
  text.resize(std::max(text.size(), width), ' ');
  return text;
}

}  // namespace management
