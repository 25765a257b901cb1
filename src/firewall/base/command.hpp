/*
 * One command line of at most 255 characters, and the way it is run.
 */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "l3_advance/platform.h"
#include "l3_advance/shell_command.h"

namespace l3 {

/* Text that is put together piece by piece and is always terminated. What does not fit is cut off
 * and remembered: such a line is never run. */
class CommandLine {
 public:
  void append(const char* format, ...) L3_PRINTF(2, 3);

  /* Replaces every `old_text`. Where the result does not fit, the line loses its end until it does,
   * and counts as cut off. */
  void replace(const char* old_text, const char* new_text);

  [[nodiscard]] char* text() { return text_.data(); }
  [[nodiscard]] const char* text() const { return text_.data(); }

  /* Runs the line through str_system() and returns its result; a line that was cut off is logged
   * and counts as a failed command. */
  [[nodiscard]] int32_t run() const;

  /* For lines whose outcome only the log is told. */
  void run_ignoring_result() const { static_cast<void>(run()); }

 private:
  std::array<char, 256> text_{};
  size_t length_ = 0;
  bool overflowed_ = false;
};

}  // namespace l3
