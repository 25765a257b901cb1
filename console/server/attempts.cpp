#include "console/server/attempts.hpp"

#include <algorithm>

namespace console {

namespace {

/* An address tries so often at once; then it waits a second, and twice as long after each failure.
 */
constexpr int free_failures = 5;
constexpr std::int64_t longest_wait = 300;
/* All strangers together, in a minute. */
constexpr std::size_t most_failures = 20;
constexpr std::int64_t minute = 60;
/* An address is forgotten after an hour, or when more than so many are known. */
constexpr std::size_t most_addresses = 256;

}  // namespace

std::int64_t Attempts::seconds_to_wait(const std::string& address, std::int64_t now) const {
  const auto own = records_.find(address);
  std::int64_t wait = 0;
  if (own != records_.end() && own->second.failures >= free_failures) {
    const int doublings = std::min(own->second.failures - free_failures, 9);
    wait = own->second.last + std::min(std::int64_t{1} << doublings, longest_wait) - now;
  }
  const bool is_known = own != records_.end() && own->second.is_known;
  if (!is_known && failures_.size() >= most_failures) {
    wait = std::max(wait, failures_.front() + minute - now);
  }
  return std::max<std::int64_t>(wait, 0);
}

void Attempts::note_failure(const std::string& address, std::int64_t now) {
  Record& record = record_of(address);
  ++record.failures;
  record.last = now;
  failures_.push_back(now);
  if (failures_.size() > most_failures) {
    failures_.pop_front();
  }
}

void Attempts::note_success(const std::string& address, std::int64_t now) {
  record_of(address) = {0, now, true};
}

/* Where all places are taken, the address that has been quiet longest goes; a known one goes last.
 */
Attempts::Record& Attempts::record_of(const std::string& address) {
  if (records_.size() >= most_addresses && records_.find(address) == records_.end()) {
    const auto oldest =
        std::min_element(records_.begin(), records_.end(), [](const auto& one, const auto& other) {
          return std::pair(one.second.is_known, one.second.last) <
                 std::pair(other.second.is_known, other.second.last);
        });
    records_.erase(oldest);
  }
  return records_[address];
}

}  // namespace console
