/* Bytes as text for people. */
#pragma once

#include <string>

namespace management {

std::string in_hexadecimal(const std::string& bytes);

/* Names in DNS form hold bytes that a terminal would act on; they stand as \x07. */
std::string escape(const std::string& text);

}  // namespace management
