/*
 * A command line of at most 255 characters, and how it is run.
 */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "l3_advance/platform.h"
#include "l3_advance/shell_command.h"

namespace l3 {

/* A text that append() builds; always terminated. Text that does not fit is truncated, and a
 * truncated line is never run. */
class CommandLine {
 public:
  void append(const char* format, ...) L3_PRINTF(2, 3);

  /* Replaces every `old_text`. Where the result does not fit, the line is truncated until it
   * does. */
  void replace(const char* old_text, const char* new_text);

  [[nodiscard]] char* text() { return text_.data(); }
  [[nodiscard]] const char* text() const { return text_.data(); }

  /* Runs the line through str_system() and returns its result; a truncated line is logged and
   * counts as a failed command. */
  [[nodiscard]] int32_t run() const;

  /* For lines whose failure is only logged. */
  void run_ignoring_result() const { static_cast<void>(run()); }

 private:
  std::array<char, 256> text_{};
  size_t length_ = 0;
  bool overflowed_ = false;
};

}  // namespace l3
