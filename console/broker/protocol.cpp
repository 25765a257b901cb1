#include "console/broker/protocol.hpp"

#include <cstring>

namespace console {

namespace {

struct CallHeader {
  std::uint32_t id;
  std::uint16_t operation;
  std::uint16_t argument_size;
  std::uint16_t who_size;
  std::uint16_t reserved; /* zero */
  std::uint32_t input_size;
  std::uint32_t stored_size;
};

struct AnswerHeader {
  std::uint32_t id;
  std::uint16_t outcome;
  std::uint16_t status;
  std::uint32_t output_size;
  std::uint32_t errors_size;
};

static_assert(sizeof(CallHeader) == 20 && sizeof(AnswerHeader) == 16);

/* No call of the table is larger, whatever its operation. */
constexpr std::size_t largest_text = 336;
constexpr std::size_t largest_input = std::size_t{256} * 1024;

bool is_sound(const CallHeader& header) {
  return header.reserved == 0 && header.argument_size <= largest_text &&
         header.who_size <= largest_text && header.input_size <= largest_input &&
         header.stored_size <= largest_input;
}

bool is_sound(const AnswerHeader& header) {
  return header.outcome <= static_cast<std::uint16_t>(Outcome::gone) &&
         header.output_size <= largest_output && header.errors_size <= largest_errors;
}

std::size_t size_of_texts(const CallHeader& header) {
  return std::size_t{header.argument_size} + header.who_size + header.input_size +
         header.stored_size;
}

std::size_t size_of_texts(const AnswerHeader& header) {
  return std::size_t{header.output_size} + header.errors_size;
}

template <typename Header>
std::string bytes_of(const Header& header) {
  std::string bytes(sizeof header, '\0');
  std::memcpy(bytes.data(), &header, sizeof header);
  return bytes;
}

NumberedCall message_of(const CallHeader& header, const char* texts) {
  NumberedCall message{header.id, {static_cast<Operation>(header.operation), {}, {}, {}, {}}};
  const auto take = [&texts](std::size_t size) {
    texts += size;
    return std::string(texts - size, size);
  };
  message.call.argument = take(header.argument_size);
  message.call.who = take(header.who_size);
  message.call.input = take(header.input_size);
  message.call.stored = take(header.stored_size);
  return message;
}

Answer message_of(const AnswerHeader& header, const char* texts) {
  return {header.id, static_cast<Outcome>(header.outcome), header.status,
          std::string(texts, header.output_size),
          std::string(texts + header.output_size, header.errors_size)};
}

/* Takes the first message out of `bytes`. */
template <typename Header, typename Message>
std::optional<Message> take(std::string& bytes, bool& is_broken) {
  Header header;
  if (is_broken || bytes.size() < sizeof header) {
    return std::nullopt;
  }
  std::memcpy(&header, bytes.data(), sizeof header);
  if (!is_sound(header)) {
    is_broken = true;
    bytes.clear();
    return std::nullopt;
  }
  const std::size_t whole = sizeof header + size_of_texts(header);
  if (bytes.size() < whole) {
    return std::nullopt;
  }
  Message message = message_of(header, bytes.data() + sizeof header);
  bytes.erase(0, whole);
  return message;
}

}  // namespace

template <>
std::optional<NumberedCall> Frames<NumberedCall>::next() {
  return take<CallHeader, NumberedCall>(bytes_, is_broken_);
}

template <>
std::optional<Answer> Frames<Answer>::next() {
  return take<AnswerHeader, Answer>(bytes_, is_broken_);
}

std::string frame_of(const NumberedCall& numbered) {
  const Call& call = numbered.call;
  return bytes_of(CallHeader{numbered.id, static_cast<std::uint16_t>(call.operation),
                             static_cast<std::uint16_t>(call.argument.size()),
                             static_cast<std::uint16_t>(call.who.size()), 0,
                             static_cast<std::uint32_t>(call.input.size()),
                             static_cast<std::uint32_t>(call.stored.size())}) +
         call.argument + call.who + call.input + call.stored;
}

std::string frame_of(const Answer& answer) {
  return bytes_of(AnswerHeader{answer.id, static_cast<std::uint16_t>(answer.outcome),
                               static_cast<std::uint16_t>(answer.status),
                               static_cast<std::uint32_t>(answer.output.size()),
                               static_cast<std::uint32_t>(answer.errors.size())}) +
         answer.output + answer.errors;
}

}  // namespace console
