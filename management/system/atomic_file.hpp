/* Files that are there whole or not at all, whenever the power fails. */
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

namespace management {

/* Up to `largest` bytes from where a descriptor stands; `name` is for messages. */
std::string read_descriptor_up_to(int fd, const std::string& name, size_t largest);

/* Throws where there is anything but a regular file, and names what it is: whoever opens a pipe would wait,
 * and a device may never end. A link counts as what it leads to; a missing file is no failure. */
void require_regular_file(const std::string& file);

/* Up to `largest` bytes of a regular file. Nothing is created or locked, and a pipe or a device is neither
 * opened nor waited for: each of these is a failure. */
std::string read_up_to(const std::string& file, size_t largest);

/* The same; nothing where there is no file. Any other failure is one. */
std::optional<std::string> read_start_if_exists(const std::string& file, size_t largest);

/* Up to `largest` bytes from the end of a regular file; nothing where there is none. */
std::optional<std::string> read_end_if_exists(const std::string& file, size_t largest);

/* All of a regular file; nothing where there is none. A longer one is a failure. */
std::optional<std::string> read_if_exists(const std::string& file, size_t largest);
std::optional<std::string> read_if_exists(const std::string& file);

/* How the name of a file ends that is still being written; a sudden end leaves it. */
inline constexpr char temporary_suffix[] = ".next";

/* Makes a file, or replaces it: written beside it, read back, made durable, renamed. A failure, or a
 * signal that ends the program, leaves the old file or the new one and nothing else. */
void write_atomically(const std::string& file, std::string_view bytes, mode_t mode = 0600);

/* Removes what writers of this file that came to a sudden end have left beside it. No writer may be at
 * work. */
void remove_stale_temporaries_of(const std::string& file);

/* Removes a file, durably. */
void remove_durably(const std::string& file);

/* Makes or replaces what everybody may read; but a pipe, a device and standard output, by whatever name,
 * are written into and not replaced. */
void write_world_readable(const std::string& file, std::string_view bytes);

}  // namespace management
