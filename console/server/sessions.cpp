#include "console/server/sessions.hpp"

#include <algorithm>

#include "console/server/secrets.hpp"

namespace console {

namespace {

/* The next log-in ends the session that has been unused longest. */
constexpr std::size_t most_sessions = 16;

bool has_expired(const Session& session, std::int64_t now) {
  return now - session.used >= idle_limit || now - session.begun >= absolute_limit;
}

}  // namespace

Session& Sessions::begin(const std::string& address, std::int64_t now) {
  drop_expired(now);
  if (sessions_.size() >= most_sessions) {
    sessions_.erase(std::min_element(
        sessions_.begin(), sessions_.end(),
        [](const Session& one, const Session& other) { return one.used < other.used; }));
  }
  return sessions_.emplace_back(
      Session{random_secret(), random_secret(), address, now, now, false});
}

Session* Sessions::find(const std::string& id, std::int64_t now) {
  drop_expired(now);
  Session* found = nullptr;
  for (Session& session : sessions_) {
    if (is_equal_secret(session.id, id)) {
      found = &session;
    }
  }
  return found;
}

void Sessions::end(const std::string& id) {
  std::erase_if(sessions_, [&](const Session& one) { return is_equal_secret(one.id, id); });
}

void Sessions::end_all_but(const std::string& id) {
  std::erase_if(sessions_, [&](const Session& one) { return !is_equal_secret(one.id, id); });
}

std::size_t Sessions::count(std::int64_t now) {
  drop_expired(now);
  return sessions_.size();
}

void Sessions::drop_expired(std::int64_t now) {
  std::erase_if(sessions_, [now](const Session& one) { return has_expired(one, now); });
}

}  // namespace console
