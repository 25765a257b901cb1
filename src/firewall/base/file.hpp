/*
 * The existence test of the configuration file, the record files and the save files.
 */
#pragma once

namespace l3 {

/* Whether no file can be at `path`: access() fails with ENOENT, ENOTDIR, ELOOP or ENAMETOOLONG, or
 * without an error. After any other failure (no permission, no memory, a failing medium) the file
 * counts as there: a missing file is created anew, and that would overwrite what is stored. */
[[nodiscard]] bool is_missing(const char* path);

}  // namespace l3
