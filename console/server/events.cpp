#include "console/server/events.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "console/server/ask.hpp"
#include "console/server/secrets.hpp"

namespace console {

namespace {

using Json = nlohmann::ordered_json;

/* Three l3ctl for all listeners together, every so many seconds: about 1 % of one core. */
constexpr std::int64_t interval = 3;
/* A listener that reconnects after fewer events misses none. */
constexpr std::size_t most_recent = 64;

std::string text_of(const Json& value) {
  return value.dump(-1, ' ', true, Json::error_handler_t::replace);
}

/* A member, or null where there is none. */
Json member(const Json& object, const char* name) {
  return object.is_object() && object.contains(name) ? object[name] : Json();
}

std::string event_text(std::uint64_t number, const std::string& name, const std::string& data) {
  return "id: " + std::to_string(number) + "\nevent: " + name + "\ndata: " + data + "\n\n";
}

/* [a,b,c] of texts that are JSON already. */
class JsonList {
 public:
  void add(const std::string& text) { text_ += (text_.empty() ? "" : ",") + text; }
  [[nodiscard]] bool is_empty() const { return text_.empty(); }
  [[nodiscard]] std::string text() const { return "{\"counters\":[" + text_ + "]}"; }

 private:
  std::string text_;
};

}  // namespace

Events::Events(BrokerLink& link)
    // Another run of the server has other numbers.
    : link_(&link),
      first_(std::stoull(random_secret().substr(0, 8), nullptr, 16) << 16 | 1),
      last_(first_) {}

void Events::ask(Operation operation, void (Events::*take)(const std::string&)) {
  ++waiting_;
  link_->ask(call_of(operation), [this, take](const Answer& answer) {
    --waiting_;
    if (answer.outcome == Outcome::ended && answer.status == 0) {
      (this->*take)(answer.output);
    }
  });
}

void Events::tick(std::int64_t now, bool has_listeners) {
  if (!has_listeners) {
    // It gets old, and the next listener is to hear nothing that is no longer true.
    confirmation_.clear();
    etag_.clear();
    changed_.clear();
    return;
  }
  if (now < next_ || waiting_ > 0) {
    return;
  }
  next_ = now + interval;
  ask(Operation::rules, &Events::take_rules);
  ask(Operation::status, &Events::take_status);
  ask(Operation::settings, &Events::take_settings);
}

void Events::take_rules(const std::string& output) {
  const Json rules = Json::parse(output, nullptr, false);
  Counters now;
  JsonList moved;
  for (const Json& table : member(rules, "tables")) {
    for (const Json& chain : member(table, "chains")) {
      std::size_t position = 0;
      for (const Json& rule : member(chain, "rules")) {
        Json counter{{"family", table.value("family", "")},
                     {"chain", chain.value("name", "")},
                     {"rule", ++position},
                     {"path", member(member(rule, "origin"), "path")}};
        const std::string key = text_of(counter);
        const std::uint64_t packets = rule.value("packets", std::uint64_t{0});
        counter["packets"] = packets;
        counter["bytes"] = rule.value("bytes", std::uint64_t{0});
        const Counter& own = now[key] = {text_of(counter), packets};
        const auto before = counters_.find(key);
        if (before == counters_.end() ? packets != 0 : before->second.packets != packets) {
          moved.add(own.text);
        }
      }
    }
  }
  counters_ = std::move(now);
  if (!moved.is_empty()) {
    publish("counters", moved.text());
  }
}

void Events::take_status(const std::string& output) {
  const Json status = Json::parse(output, nullptr, false);
  const std::string text = text_of({{"confirmation", status.value("confirmation", Json())}});
  if (text != confirmation_) {
    confirmation_ = text;
    publish("pending", text);
  }
}

void Events::take_settings(const std::string& output) {
  const std::string etag = etag_of(output);
  if (etag != etag_) {
    etag_ = etag;
    ask(Operation::history, &Events::take_history);
  }
}

/* Who has changed the settings is in the history, where it was l3ctl that did. */
void Events::take_history(const std::string& output) {
  if (etag_.empty()) {
    return;
  }
  const Json history = Json::parse(output, nullptr, false);
  const Json changes = member(history, "changes");
  Json newest;
  for (const char* name : {"id", "time", "who", "origin", "rolled_back"}) {
    if (changes.is_array() && !changes.empty()) {
      newest[name] = member(changes[0], name);
    }
  }
  changed_ = text_of({{"etag", etag_}, {"newest", newest}});
  publish("changed", changed_);
}

void Events::publish(const std::string& name, const std::string& data) {
  recent_.push_back(event_text(++last_, name, data));
  if (recent_.size() > most_recent) {
    recent_.pop_front();
  }
}

std::string Events::everything() const {
  JsonList all;
  for (const auto& [key, counter] : counters_) {
    if (counter.packets != 0) {
      all.add(counter.text);
    }
  }
  return event_text(last_, "counters", all.text()) + event_text(last_, "pending", confirmation_) +
         event_text(last_, "changed", changed_);
}

std::string Events::text_after(std::uint64_t& last) const {
  const std::uint64_t from = last;
  if (from == last_ || confirmation_.empty() || changed_.empty()) {
    return {};
  }
  last = last_;
  if (from < first_ || from > last_ || last_ - from > recent_.size()) {
    return everything();
  }
  std::string text;
  for (auto event = recent_.end() - static_cast<std::ptrdiff_t>(last_ - from);
       event != recent_.end(); ++event) {
    text += *event;
  }
  return text;
}

}  // namespace console
