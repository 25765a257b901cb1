/* Bytes as text for people. */
#pragma once

#include <string>

namespace l3ctl {

std::string in_hexadecimal(const std::string& bytes);

/* Names in DNS form hold bytes that a terminal would act on; they stand as \x07. */
std::string printable(const std::string& text);

}  // namespace l3ctl
