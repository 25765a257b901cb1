#include "l3ctl/input/read_input.hpp"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>

#include "l3ctl/context.hpp"

namespace l3ctl {

std::string input_name(const std::string& file) {
  return file == "-" ? "standard input" : file;
}

std::string read_input(const std::string& file, size_t largest) {
  std::ifstream stream;
  errno = 0;
  if (file != "-") {
    stream.open(file, std::ios::binary);
    if (!stream) {
      throw Error(file + ": " + std::strerror(errno) + "; nothing was changed",
                  ErrorKind::invalid_input);
    }
  }
  std::istream& in = file == "-" ? std::cin : stream;
  std::string bytes;
  char buffer[4096];
  while (in.read(buffer, sizeof buffer), in.gcount() > 0) {
    bytes.append(buffer, static_cast<size_t>(in.gcount()));
    if (bytes.size() > largest) {
      throw Error(input_name(file) + ": more than " + std::to_string(largest) +
                      " bytes; nothing was changed",
                  ErrorKind::invalid_input);
    }
  }
  if (in.bad()) {
    throw Error(
        input_name(file) + ": cannot be read: " + std::strerror(errno) + "; nothing was changed",
        ErrorKind::invalid_input);
  }
  return bytes;
}

}  // namespace l3ctl
