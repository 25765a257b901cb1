/* Small texts. */
#pragma once

#include <string>
#include <vector>

namespace management {

/* The words with the separator between them. */
std::string joined(const std::vector<std::string>& words, const std::string& separator = ", ");

/* The text with spaces behind it, up to the width. */
std::string padded(std::string text, size_t width);

}  // namespace management
