/* What server and broker write to each other over their socket pair: a header of fixed size, then
 * its texts. Both run on one machine, so numbers are in its byte order. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "console/broker/operations.hpp"

namespace console {

struct NumberedCall {
  std::uint32_t id = 0;
  Call call;
};

enum class Outcome : std::uint16_t {
  ended,       /* l3ctl ran to its end; `status` is its exit status */
  refused,     /* the table does not allow the call */
  not_started, /* l3ctl is missing, or no process could be made */
  too_slow,    /* it was ended after its time */
  too_long,    /* it wrote more than an answer may hold */
  crashed,     /* a signal ended it */
  gone,        /* the broker itself is gone; only the server says so */
};

struct Answer {
  std::uint32_t id = 0;
  Outcome outcome = Outcome::gone;
  int status = 0;
  std::string output; /* standard output of l3ctl */
  std::string errors; /* its standard error */
};

inline constexpr std::size_t largest_output = std::size_t{2} * 1024 * 1024;
inline constexpr std::size_t largest_errors = std::size_t{64} * 1024;

/* Frames of a stream of bytes. */
template <typename Message>
class Frames {
 public:
  void add(const char* bytes, std::size_t count) { bytes_.append(bytes, count); }

  /* The next whole message. Sets `is_broken` once no message can follow any more. */
  std::optional<Message> next();

  [[nodiscard]] bool is_broken() const { return is_broken_; }

 private:
  std::string bytes_;
  bool is_broken_ = false;
};

using CallFrames = Frames<NumberedCall>;
using AnswerFrames = Frames<Answer>;

std::string frame_of(const NumberedCall& numbered);
std::string frame_of(const Answer& answer);

}  // namespace console
