/* The events that pages listen to: counters, changes of the settings, and a confirmation that is
 pending. */
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>

#include "console/server/broker_link.hpp"

namespace console {

class Events {
 public:
  explicit Events(BrokerLink& link);

  /* Asks l3ctl for news at intervals, while a stream is open. */
  void tick(std::int64_t now, bool has_listeners);
  /* A change has been made by us: its news shall not wait. */
  void hurry() { next_ = 0; }

  /* The stream's text after an event, and the number of its last event. A listener that has missed
   * some, or is new, gets all that is known instead. */
  [[nodiscard]] std::string text_after(std::uint64_t& last) const;
  [[nodiscard]] std::uint64_t last() const { return last_; }

 private:
  struct Counter {
    std::string text; /* the event's JSON */
    std::uint64_t packets = 0;
  };
  using Counters = std::map<std::string, Counter>;

  void ask(Operation operation, void (Events::*take)(const std::string&));
  void take_rules(const std::string& output);
  void take_status(const std::string& output);
  void take_settings(const std::string& output);
  void take_history(const std::string& output);
  void publish(const std::string& name, const std::string& data);
  [[nodiscard]] std::string everything() const;

  BrokerLink* link_;
  std::int64_t next_ = 0;
  int waiting_ = 0; /* answers that have not come yet */
  std::uint64_t first_;
  std::uint64_t last_;
  std::deque<std::string> recent_; /* texts of the last events, the newest last */
  Counters counters_;
  std::string confirmation_;
  std::string etag_;
  std::string changed_;
};

}  // namespace console
