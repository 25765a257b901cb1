/*
 * Opening a record's file, and the two loops that move a record between memory and a file at the
 * descriptor's position.
 *
 * Both loops continue after a partial transfer. When a call fails they print "<caller>::write
 * <path> error!" (or read) to standard output, close the descriptor and return -1.
 */
#pragma once

#include <cstddef>
#include <cstdint>

namespace l3 {

/* The function and the file that a failure message names. */
struct FileCaller {
  const char* function;
  const char* path;
};

/* A write of 0 bytes is no error and is repeated. */
[[nodiscard]] int32_t write_all(FileCaller caller, int fd, const void* record, size_t size);

/* The end of the file is no error; the rest of `record` stays unchanged. */
[[nodiscard]] int32_t read_all(FileCaller caller, int fd, void* record, size_t size);

/* Opens for reading, or for writing with creation (mode 0600) and without truncation, and moves
 * to `offset`. Returns the descriptor, or -1 with a message; after a failed seek it stays open. */
enum class FileAccess { read, write };
[[nodiscard]] int open_at(FileCaller caller, FileAccess access, size_t offset);

/* Opens as above, transfers one record and closes. */
[[nodiscard]] int32_t read_record(FileCaller caller, size_t offset, void* record, size_t size);
[[nodiscard]] int32_t write_record(FileCaller caller, size_t offset, const void* record,
                                   size_t size);

/* Opens for writing as above, without a message and without a seek. */
[[nodiscard]] int open_for_writing(const char* path);

}  // namespace l3
