/* The server's end of the broker's socket: calls out, answers in, and equal reads together in one
 call. */
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <string>
#include <vector>

#include "console/server/http.hpp"

namespace console {

class BrokerLink {
 public:
  using Callback = std::function<void(const Answer&)>;

  explicit BrokerLink(int fd) : fd_(fd) {}

  /* `callback` comes from serve(), never at once. */
  void ask(const Call& call, Callback callback);

  [[nodiscard]] int fd() const { return is_gone_ ? -1 : fd_; }
  [[nodiscard]] short events() const;
  [[nodiscard]] bool is_gone() const { return is_gone_; }
  [[nodiscard]] bool is_idle() const { return pending_.empty(); }

  /* Moves bytes and calls back. */
  void serve();

 private:
  struct Pending {
    std::uint32_t id = 0;
    Call call;
    bool is_sent = false;
    bool may_be_joined = false;
    std::vector<Callback> callbacks;
  };

  void send();
  void receive();
  void finish(const Answer& answer);
  void lose();

  int fd_;
  bool is_gone_ = false;
  std::uint32_t last_id_ = 0;
  std::list<Pending> pending_;
  std::string unsent_;
  AnswerFrames answers_;
};

}  // namespace console
