#include <cstring>

#include "l3_advance/address.h"

extern "C" {

void cli_trimming_whitespace_from_string(char* text) {
  const size_t leading = strspn(text, " ");
  size_t length = strlen(text + leading);
  memmove(text, text + leading, length + 1);
  while (length > 0 && text[length - 1] == ' ') {
    text[--length] = '\0';
  }
}

int32_t replace_string(char* text, const char* old_text, const char* new_text) {
  if (text == nullptr || old_text == nullptr || new_text == nullptr) {
    return -1;
  }
  char result[256];
  size_t used = 0;
  if (strlen(text) >= sizeof(result)) {
    return -1;
  }
  const char* found = old_text[0] == '\0' ? nullptr : strstr(text, old_text);
  if (found == nullptr) {
    return 0;
  }

  const char* rest = text;
  const size_t new_length = strlen(new_text);
  for (; found != nullptr; found = strstr(rest, old_text)) {
    const size_t before = static_cast<size_t>(found - rest);
    if (used + before + new_length >= sizeof(result)) {
      return -1;
    }
    memcpy(result + used, rest, before);
    memcpy(result + used + before, new_text, new_length);
    used += before + new_length;
    rest = found + strlen(old_text);
  }
  const size_t tail = strlen(rest) + 1;
  if (used + tail > sizeof(result)) {
    return -1;
  }
  memcpy(result + used, rest, tail);
  memcpy(text, result, used + tail);
  return 1;
}

}  // extern "C"
