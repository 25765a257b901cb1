#include "console/server/state_file.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <system_error>

#include "console/server/secrets.hpp"

namespace console {

namespace {

constexpr std::size_t slot_size = largest_state + 128;
constexpr std::size_t digest_size = 64;

/* A slot: digest of the rest, number of the write, size of the text, text. */
struct SlotHeader {
  std::array<char, digest_size> digest;
  std::uint64_t number;
  std::uint64_t size;
};

struct Slot {
  std::uint64_t number = 0; /* 0: empty or torn */
  std::string text;
};

std::string digest_of(std::uint64_t number, const std::string& text) {
  return sha256(std::to_string(number) + " " + text);
}

Slot read_slot(int fd, int index) {
  std::array<char, slot_size> bytes{};
  if (pread(fd, bytes.data(), bytes.size(), static_cast<off_t>(index * slot_size)) !=
      static_cast<ssize_t>(bytes.size())) {
    return {};
  }
  SlotHeader header;
  std::memcpy(&header, bytes.data(), sizeof header);
  if (header.number == 0 || header.size > largest_state) {
    return {};
  }
  std::string text(bytes.data() + sizeof header, header.size);
  const bool is_whole =
      digest_of(header.number, text) == std::string_view(header.digest.data(), digest_size);
  return is_whole ? Slot{header.number, std::move(text)} : Slot{};
}

bool write_slot(int fd, int index, const Slot& slot) {
  SlotHeader header{};
  const std::string digest = digest_of(slot.number, slot.text);
  std::memcpy(header.digest.data(), digest.data(), digest_size);
  header.number = slot.number;
  header.size = slot.text.size();
  std::string bytes(slot_size, '\0');
  std::memcpy(bytes.data(), &header, sizeof header);
  std::memcpy(bytes.data() + sizeof header, slot.text.data(), slot.text.size());
  return pwrite(fd, bytes.data(), bytes.size(), static_cast<off_t>(index * slot_size)) ==
             static_cast<ssize_t>(bytes.size()) &&
         fdatasync(fd) == 0;
}

/* The newer of both. */
int newest(const std::array<Slot, 2>& slots) {
  return slots[1].number > slots[0].number ? 1 : 0;
}

std::array<Slot, 2> read_slots(int fd) {
  return {read_slot(fd, 0), read_slot(fd, 1)};
}

}  // namespace

StateFile::StateFile(const std::string& path)
    : fd_(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600)) {
  const int error = fd_ == -1 ? errno : posix_fallocate(fd_, 0, 2 * slot_size);
  if (error != 0) {
    throw std::system_error(error, std::generic_category(), path);
  }
}

StateFile::~StateFile() {
  close(fd_);
}

State StateFile::read() const {
  flock(fd_, LOCK_SH);
  const auto slots = read_slots(fd_);
  flock(fd_, LOCK_UN);
  return state_of(slots[static_cast<std::size_t>(newest(slots))].text).value_or(State{});
}

bool StateFile::write(const State& state) {
  const std::string text = to_text(state);
  if (text.size() > largest_state) {
    return false;
  }
  flock(fd_, LOCK_EX);
  const auto slots = read_slots(fd_);
  const int last = newest(slots);
  const bool is_written =
      write_slot(fd_, 1 - last, {slots[static_cast<std::size_t>(last)].number + 1, text});
  flock(fd_, LOCK_UN);
  return is_written;
}

}  // namespace console
