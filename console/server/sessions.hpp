/* Who is logged in. Sessions live in memory alone: a restart ends them. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace console {

struct Session {
  std::string id;   /* the cookie's value */
  std::string csrf; /* what a page of ours sends with each change */
  std::string address;
  std::int64_t begun = 0;
  std::int64_t used = 0;
  bool must_change_password = false;
};

inline constexpr std::int64_t idle_limit = std::int64_t{15} * 60;
inline constexpr std::int64_t absolute_limit = std::int64_t{12} * 60 * 60;

class Sessions {
 public:
  Session& begin(const std::string& address, std::int64_t now);
  /* The session of a cookie; null where it is none, or has expired. */
  Session* find(const std::string& id, std::int64_t now);
  void end(const std::string& id);
  void end_all_but(const std::string& id);
  [[nodiscard]] std::size_t count(std::int64_t now);

 private:
  void drop_expired(std::int64_t now);

  std::vector<Session> sessions_;
};

}  // namespace console
