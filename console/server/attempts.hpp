/* Failed log-ins, and how long the next one has to wait. Sessions that exist never wait. */
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>

namespace console {

class Attempts {
 public:
  /* Seconds until this address may try again; 0 for now. */
  [[nodiscard]] std::int64_t seconds_to_wait(const std::string& address, std::int64_t now) const;
  void note_failure(const std::string& address, std::int64_t now);
  /* The address is known from now on: what strangers try does not hold it up. */
  void note_success(const std::string& address, std::int64_t now);

 private:
  struct Record {
    int failures = 0;
    std::int64_t last = 0;
    bool is_known = false;
  };

  Record& record_of(const std::string& address);

  std::map<std::string, Record> records_;
  std::deque<std::int64_t> failures_; /* when, of all addresses */
};

}  // namespace console
