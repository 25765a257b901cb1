#include "management/system/escape.hpp"

namespace management {

std::string in_hexadecimal(const std::string& bytes) {
  std::string text;
  for (const char byte : bytes) {
    const auto number = static_cast<unsigned char>(byte);
    text += "0123456789abcdef"[number >> 4];
    text += "0123456789abcdef"[number & 15];
  }
  return text;
}

std::string escape(const std::string& text) {
  std::string result;
  for (const char byte : text) {
    const bool is_plain = static_cast<unsigned char>(byte) >= 0x20 && byte != 0x7f;
    result += is_plain ? std::string(1, byte) : "\\x" + in_hexadecimal({byte});
  }
  return result;
}

}  // namespace management
