/* What commands read: a file or standard input, named "-". */
#pragma once

#include <cstddef>
#include <string>

namespace l3ctl {

/* How messages name it. */
std::string input_name(const std::string& file);

/* All of it. Ends the program when it cannot be read or is larger than `largest` bytes. */
std::string read_input(const std::string& file, size_t largest);

}  // namespace l3ctl
