/* Files that are there whole or not at all, whenever the power fails. */
#pragma once

#include <string>
#include <string_view>

namespace l3ctl {

/* Up to `largest` bytes of a regular file, or of standard input for "-". Nothing is created or locked,
 * and a pipe or a device is not waited for: each of these is a failure. */
std::string read_up_to(const std::string& file, size_t largest);

/* Makes a file, or replaces it, mode 0600: written beside it, read back, made durable, renamed. A
 * failure leaves what was there before. */
void write_whole(const std::string& file, std::string_view bytes);

}  // namespace l3ctl
