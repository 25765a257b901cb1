#include "console/server/broker_link.hpp"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace console {

namespace {

/* The broker runs so many at once. */
constexpr std::ptrdiff_t most_at_once = 4;

bool is_change(const Call& call) {
  const OperationRow* row = find_operation(static_cast<std::uint16_t>(call.operation));
  return row == nullptr || row->changes;
}

bool is_equal(const Call& one, const Call& other) {
  return one.operation == other.operation && one.argument == other.argument &&
         one.input == other.input && one.stored == other.stored;
}

}  // namespace

void BrokerLink::ask(const Call& call, Callback callback) {
  const bool is_read = !is_change(call);
  const auto equal = std::find_if(pending_.begin(), pending_.end(), [&](const Pending& one) {
    return one.may_be_joined && is_equal(one.call, call);
  });
  if (is_read && equal != pending_.end()) {
    equal->callbacks.push_back(std::move(callback));
    return;
  }
  pending_.push_back({++last_id_, call, false, is_read, {}});
  pending_.back().callbacks.push_back(std::move(callback));
}

short BrokerLink::events() const {
  return static_cast<short>(POLLIN | (unsent_.empty() ? 0 : POLLOUT));
}

void BrokerLink::serve() {
  receive();
  send();
  if (is_gone_) {
    lose();
  }
}

void BrokerLink::send() {
  auto sent = std::count_if(pending_.begin(), pending_.end(),
                            [](const Pending& one) { return one.is_sent; });
  for (Pending& one : pending_) {
    if (!one.is_sent && sent < most_at_once) {
      unsent_ += frame_of(NumberedCall{one.id, one.call});
      one.is_sent = true;
      ++sent;
    }
  }
  while (!unsent_.empty() && !is_gone_) {
    const ssize_t count = ::send(fd_, unsent_.data(), unsent_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count == -1) {
      is_gone_ = errno != EAGAIN && errno != EINTR;
      return;
    }
    unsent_.erase(0, static_cast<std::size_t>(count));
  }
}

void BrokerLink::receive() {
  static std::array<char, 65536> bytes;
  while (!is_gone_) {
    const ssize_t count = recv(fd_, bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (count == -1 && (errno == EAGAIN || errno == EINTR)) {
      break;
    }
    is_gone_ = count <= 0;
    answers_.add(bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
  }
  while (const auto answer = answers_.next()) {
    finish(*answer);
  }
  is_gone_ = is_gone_ || answers_.is_broken();
}

/* A read that began before a change has ended may have seen the state before it: whoever asks from
 * now on must not join it. */
void BrokerLink::finish(const Answer& answer) {
  const auto found = std::find_if(pending_.begin(), pending_.end(), [&](const Pending& one) {
    return one.id == answer.id && one.is_sent;
  });
  if (found == pending_.end()) {
    return;
  }
  const Pending done = std::move(*found);
  pending_.erase(found);
  if (is_change(done.call)) {
    for (Pending& one : pending_) {
      one.may_be_joined = one.may_be_joined && !one.is_sent;
    }
  }
  for (const Callback& callback : done.callbacks) {
    callback(answer);
  }
}

void BrokerLink::lose() {
  while (!pending_.empty()) {
    const Pending lost = std::move(pending_.front());
    pending_.pop_front();
    for (const Callback& callback : lost.callbacks) {
      callback(Answer{});
    }
  }
}

}  // namespace console
