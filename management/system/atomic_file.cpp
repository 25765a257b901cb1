#include "management/system/atomic_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <utility>

#include "executor/process.hpp"
#include "management/error.hpp"

namespace management {

namespace {

/* A descriptor that is closed with its owner. */
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  ~Descriptor() {
    if (fd_ > STDERR_FILENO) {
      close(fd_);
    }
  }
  [[nodiscard]] int number() const { return fd_; }

 private:
  int fd_;
};

/* Those that would end the program wait as long as this lives: they would leave a file that is in nobody's
 * place. */
class SignalsOff {
 public:
  SignalsOff() {
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
      sigaddset(&ending, signal);
    }
    sigprocmask(SIG_BLOCK, &ending, &before_);
  }
  SignalsOff(const SignalsOff&) = delete;
  SignalsOff& operator=(const SignalsOff&) = delete;
  ~SignalsOff() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_ = {};
};

constexpr char unique_part[] = ".XXXXXX";

/* The new file under a name of its own, gone again unless it has taken its place. */
class Temporary {
 public:
  explicit Temporary(const std::string& beside)
      : path_(beside + unique_part + temporary_suffix),
        fd_(mkostemps(path_.data(), sizeof temporary_suffix - 1, O_CLOEXEC)) {}
  Temporary(const Temporary&) = delete;
  Temporary& operator=(const Temporary&) = delete;
  ~Temporary() {
    if (fd_.number() != -1 && !is_in_place_) {
      unlink(path_.c_str());
    }
  }
  [[nodiscard]] int fd() const { return fd_.number(); }
  bool take_place(const std::string& file) {
    is_in_place_ = rename(path_.c_str(), file.c_str()) == 0;
    return is_in_place_;
  }

 private:
  std::string path_;
  Descriptor fd_;
  bool is_in_place_ = false;
};

/* At most `largest` bytes from where the descriptor stands; less at the end, errno on failure. */
bool read_bytes(int fd, size_t largest, std::string& bytes) {
  char buffer[4096];
  while (bytes.size() < largest) {
    const ssize_t got = read(fd, buffer, std::min(sizeof buffer, largest - bytes.size()));
    if (got == 0) {
      return true;
    }
    if (got == -1 && errno != EINTR) {
      return false;
    }
    if (got > 0) {
      bytes.append(buffer, static_cast<size_t>(got));
    }
  }
  return true;
}

/* Whether the file holds these bytes and no more. */
bool reads_back(int fd, std::string_view bytes) {
  std::string found;
  errno = EIO;
  return lseek(fd, 0, SEEK_SET) == 0 && read_bytes(fd, bytes.size() + 1, found) && found == bytes;
}

[[noreturn]] void give_up(const std::string& file, const std::string& doing) {
  throw Error(file + ": cannot be " + doing + ": " + std::strerror(errno));
}

const char* kind_of(mode_t mode) {
  return S_ISDIR(mode)    ? "a directory"
         : S_ISFIFO(mode) ? "a named pipe"
         : S_ISSOCK(mode) ? "a socket"
         : S_ISCHR(mode)  ? "a character device"
         : S_ISBLK(mode)  ? "a block device"
                          : "of an unknown type";
}

/* "FILE: is a directory, not a regular file" */
std::string no_regular_file(const std::string& file, mode_t mode) {
  return file + ": is " + kind_of(mode) + ", not a regular file";
}

/* A regular file, open for reading. Looked at before it is opened, since to open a device may start it, and
 * once more afterwards, since another file may have taken its place. */
Descriptor open_regular_file(const std::string& file) {
  struct stat status = {};
  if (stat(file.c_str(), &status) != 0) {
    give_up(file, "read");
  }
  if (!S_ISREG(status.st_mode)) {
    throw Error(no_regular_file(file, status.st_mode));
  }
  Descriptor source(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (source.number() == -1 || fstat(source.number(), &status) != 0) {
    give_up(file, "read");
  }
  if (!S_ISREG(status.st_mode)) {
    throw Error(no_regular_file(file, status.st_mode));
  }
  return source;
}

/* Whether there is a file, of whatever kind. Only its absence counts as that. */
bool exists(const std::string& file) {
  struct stat status = {};
  if (stat(file.c_str(), &status) == 0) {
    return true;
  }
  if (errno != ENOENT) {
    give_up(file, "read");
  }
  return false;
}

std::string folder_of(const std::string& file) {
  const std::string folder = std::filesystem::path(file).parent_path().string();
  return folder.empty() ? "." : folder;
}

/* Where the bytes really go: a link stays a link. A device or a folder must not be replaced. */
std::string place_of(const std::string& file) {
  struct stat status = {};
  if (stat(file.c_str(), &status) != 0) {
    if (lstat(file.c_str(), &status) == 0) {
      throw Error(file + ": is a link that leads nowhere; nothing was changed",
                  ErrorKind::invalid_input);
    }
    return file;
  }
  if (!S_ISREG(status.st_mode)) {
    throw Error(no_regular_file(file, status.st_mode) + "; nothing was changed",
                ErrorKind::invalid_input);
  }
  std::error_code error;
  const std::string place = std::filesystem::canonical(file, error).string();
  return error ? file : place;
}

}  // namespace

std::string read_descriptor_up_to(int fd, const std::string& name, size_t largest) {
  std::string bytes;
  if (!read_bytes(fd, largest, bytes)) {
    give_up(name, "read");
  }
  return bytes;
}

void require_regular_file(const std::string& file) {
  struct stat status = {};
  if (stat(file.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
    throw Error(no_regular_file(file, status.st_mode));
  }
}

std::string read_up_to(const std::string& file, size_t largest) {
  const Descriptor source = open_regular_file(file);
  return read_descriptor_up_to(source.number(), file, largest);
}

std::optional<std::string> read_start_if_exists(const std::string& file, size_t largest) {
  return exists(file) ? std::optional(read_up_to(file, largest)) : std::nullopt;
}

std::optional<std::string> read_end_if_exists(const std::string& file, size_t largest) {
  if (!exists(file)) {
    return std::nullopt;
  }
  const Descriptor source = open_regular_file(file);
  const off_t size = lseek(source.number(), 0, SEEK_END);
  const off_t start = std::max<off_t>(0, size - static_cast<off_t>(largest));
  if (size == -1 || lseek(source.number(), start, SEEK_SET) == -1) {
    give_up(file, "read");
  }
  return read_descriptor_up_to(source.number(), file, largest);
}

std::optional<std::string> read_if_exists(const std::string& file, size_t largest) {
  auto bytes = read_start_if_exists(file, largest + 1);
  if (bytes && bytes->size() > largest) {
    errno = EFBIG;
    give_up(file, "read");
  }
  return bytes;
}

std::optional<std::string> read_if_exists(const std::string& file) {
  return read_start_if_exists(file, std::numeric_limits<size_t>::max());
}

void write_atomically(const std::string& file, std::string_view bytes, mode_t mode) {
  const std::string place = place_of(file);
  const Descriptor folder(open(folder_of(place).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.number() == -1) {
    give_up(file, "written");
  }
  const SignalsOff until_the_end;
  Temporary temporary(place);
  const int fd = temporary.fd();
  if (fd == -1 || fchmod(fd, mode) != 0 || !executor::write_all(fd, bytes) || fsync(fd) != 0 ||
      !reads_back(fd, bytes) || !temporary.take_place(place)) {
    give_up(file, "written");
  }
  // The name too must outlive a power cut.
  if (fsync(folder.number()) != 0) {
    give_up(file, "made durable, though it is in place");
  }
}

void remove_stale_temporaries_of(const std::string& file) {
  const std::string start = std::filesystem::path(file).filename().string() + '.';
  const size_t length = start.size() + std::strlen(unique_part) - 1 + std::strlen(temporary_suffix);
  std::error_code error;
  std::filesystem::directory_iterator entry(folder_of(file), error);
  for (; entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (name.size() == length && name.starts_with(start) && name.ends_with(temporary_suffix)) {
      unlink(entry->path().c_str());
    }
  }
}

void remove_durably(const std::string& file) {
  const Descriptor folder(open(folder_of(file).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.number() == -1 || unlink(file.c_str()) != 0 || fsync(folder.number()) != 0) {
    give_up(file, "removed");
  }
}

void write_world_readable(const std::string& file, std::string_view bytes) {
  struct stat status = {};
  struct stat output = {};
  const bool exists = stat(file.c_str(), &status) == 0;
  const bool is_output = exists && fstat(STDOUT_FILENO, &output) == 0 &&
                         status.st_dev == output.st_dev && status.st_ino == output.st_ino;
  if (!is_output && (!exists || S_ISREG(status.st_mode))) {
    const mode_t mask = umask(0);
    umask(mask);
    write_atomically(file, bytes, 0666 & ~mask);
    return;
  }
  const Descriptor into(is_output ? STDOUT_FILENO : open(file.c_str(), O_WRONLY | O_CLOEXEC));
  if (into.number() == -1 || !executor::write_all(into.number(), bytes)) {
    give_up(file, "written");
  }
}

}  // namespace management
