/*
 * The bytes of an input, taken one value after the other; words have their low byte first on every host,
 * so that an input means the same everywhere. Behind the end everything is zero.
 */
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace fuzz {

class Input {
 public:
  Input(const uint8_t* data, size_t size) : at_(data), left_(size) {}

  bool is_empty() const { return left_ == 0; }

  uint8_t byte() {
    if (left_ == 0) {
      return 0;
    }
    --left_;
    return *at_++;
  }

  uint32_t word() {
    uint32_t value = 0;
    for (unsigned shift = 0; shift < 32; shift += 8) {
      value |= static_cast<uint32_t>(byte()) << shift;
    }
    return value;
  }

  template <typename Byte, size_t size>
  void bytes(Byte (&out)[size]) {
    for (Byte& value : out) {
      value = static_cast<Byte>(byte());
    }
  }

  /* The bytes up to the next zero, or the end. */
  std::string text() {
    const auto* end = std::find(at_, at_ + left_, uint8_t{0});
    std::string result(at_, end);
    const size_t taken = std::min(left_, result.size() + 1);
    at_ += taken;
    left_ -= taken;
    return result;
  }

  std::string rest() {
    std::string result(at_, at_ + left_);
    left_ = 0;
    return result;
  }

 private:
  const uint8_t* at_;
  size_t left_;
};

}  // namespace fuzz
