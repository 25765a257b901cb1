#include "management/store/history.hpp"

#include <sys/random.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string_view>

#include "management/error.hpp"
#include "management/store/paths.hpp"
#include "management/store/settings_record.hpp"
#include "management/system/atomic_file.hpp"
#include "management/system/text.hpp"

namespace management {

namespace {

using Json = nlohmann::ordered_json;
using settings::Settings;

constexpr size_t most_changes = 20;
constexpr size_t largest_file = size_t{256} << 10;
/* Of who, origin and command. */
constexpr size_t longest_text = 200;
/* Behind the last line a rollback is looked for in this many bytes. */
constexpr size_t longest_rollback = 1024;
/* What a change takes at most: the configuration file, both saved rule sets and the note of a pending confirmation. */
constexpr uint64_t room_of_change = uint64_t{64} << 10;

constexpr const char* almost_full = "/ztcfg is almost full";

constexpr std::string_view change_start = "{\"id\":";
constexpr std::string_view rollback_start = "{\"rolled_back\":";

std::string now() {
  const std::time_t seconds = std::time(nullptr);
  std::tm clock = {};
  char text[32] = {};
  gmtime_r(&seconds, &clock);
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &clock);
  return text;
}

/* Whether so many bytes leave the room that a change takes. */
bool has_room(uint64_t bytes) {
  struct statvfs room = {};
  return statvfs(settings_folder, &room) != 0 ||
         uint64_t{room.f_bavail} * room.f_frsize >= bytes + room_of_change;
}

std::string one_line(const Json& json) {
  return json.dump(-1, ' ', true, Json::error_handler_t::replace);
}

/* The lines that are whole. */
std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  for (size_t start = 0, end = 0; (end = text.find('\n', start)) != std::string::npos;
       start = end + 1) {
    const std::string_view line(text.data() + start, end - start);
    if ((line.starts_with(change_start) || line.starts_with(rollback_start)) &&
        line.ends_with('}')) {
      lines.emplace_back(line);
    }
  }
  return lines;
}

/* The lines from the oldest change that is kept on. */
void keep_last(std::vector<std::string>& lines) {
  size_t changes = 0;
  size_t bytes = 0;
  auto first = lines.end();
  while (first != lines.begin()) {
    const std::string& line = *(first - 1);
    changes += line.starts_with(change_start) ? 1 : 0;
    bytes += line.size() + 1;
    if (changes > most_changes || bytes > largest_file) {
      break;
    }
    --first;
  }
  lines.erase(lines.begin(), first);
}

void drop(const std::string& why) {
  if (unlink(history_path) == 0) {
    notify("warning: " + why + "; the history of the changes was dropped");
  } else {
    notify("warning: " + why + "; the change is not in the history");
  }
}

/* Never fails: what cannot be noted is not noted. */
void add_line(const std::string& line) {
  try {
    std::vector<std::string> lines =
        lines_of(read_end_if_exists(history_path, largest_file).value_or(""));
    lines.push_back(line);
    keep_last(lines);
    const std::string text = joined(lines, "\n") + "\n";
    if (has_room(text.size())) {
      write_atomically(history_path, text);
    } else {
      drop(almost_full);
    }
  } catch (const Error& error) {
    drop(error.what());
  }
}

std::string shortened(const std::string& text) {
  return text.size() <= longest_text ? text : text.substr(0, longest_text) + "...";
}

Rollback rollback_of(const Json& json) {
  return {json.at("rolled_back"), json.at("time"), json.at("why")};
}

HistoryEntry entry_of(const Json& json) {
  const auto side = [&](const char* name) {
    return settings_of({json.at(name).at("settings"), json.at(name).at("stored_bytes")});
  };
  return {json.at("id"),      json.at("time"), json.at("who"), json.at("origin"),
          json.at("command"), side("before"),  side("after"),  std::nullopt};
}

Json side(const Settings& settings) {
  const SettingsRecord record = record_of(settings);
  return {{"settings", record.words}, {"stored_bytes", record.bytes}};
}

}  // namespace

std::string new_change_id() {
  constexpr char digits[] = "0123456789abcdef";
  unsigned char bytes[8] = {};
  if (getrandom(bytes, sizeof bytes, 0) != sizeof bytes) {
    throw Error(std::string("there is no random number for the change: ") + std::strerror(errno));
  }
  std::string id;
  for (const unsigned char byte : bytes) {
    id += digits[byte >> 4];
    id += digits[byte & 15];
  }
  return id;
}

bool is_change_id(const std::string& text) {
  return text.size() == 16 && text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

std::vector<HistoryEntry> read_history() {
  const std::string text = read_end_if_exists(history_path, largest_file).value_or("");
  std::vector<HistoryEntry> entries;
  std::map<std::string, Rollback> rollbacks;
  const std::vector<std::string> lines = lines_of(text);
  size_t damaged = static_cast<size_t>(std::count(text.begin(), text.end(), '\n')) - lines.size() +
                   (text.empty() || text.ends_with('\n') ? 0 : 1);
  for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
    try {
      const Json json = Json::parse(*line);
      if (line->starts_with(rollback_start)) {
        const Rollback rollback = rollback_of(json);
        rollbacks.insert({rollback.id, rollback});
        continue;
      }
      entries.push_back(entry_of(json));
      if (const auto found = rollbacks.find(entries.back().id); found != rollbacks.end()) {
        entries.back().rolled_back = found->second;
      }
    } catch (const std::exception&) {
      ++damaged;
    }
  }
  if (damaged != 0) {
    notify(std::string("warning: ") + history_path + " is damaged: " + std::to_string(damaged) +
           (damaged == 1 ? " line" : " lines") + " cannot be read");
  }
  return entries;
}

void add_to_history(const Options& options, const std::string& id, const Settings& before,
                    const Settings& after) {
  const Settings old_sections = differing_sections(before, after);
  if (!holds_any(old_sections)) {
    return;
  }
  add_line(one_line({{"id", id},
                     {"time", now()},
                     {"who", shortened(options.who)},
                     {"origin", shortened(options.origin)},
                     {"command", shortened(options.command)},
                     {"before", side(old_sections)},
                     {"after", side(differing_sections(after, before))}}));
}

void add_rollback_to_history(const std::string& id, const std::string& why) {
  add_line(one_line({{"rolled_back", id}, {"time", now()}, {"why", shortened(why)}}));
}

std::optional<Rollback> last_rollback() {
  try {
    const std::string end = read_end_if_exists(history_path, longest_rollback).value_or("");
    const size_t start = end.size() < 2 ? std::string::npos : end.rfind('\n', end.size() - 2);
    const std::string line = end.substr(start == std::string::npos ? 0 : start + 1);
    if (line.starts_with(rollback_start)) {
      return rollback_of(Json::parse(line));
    }
  } catch (const std::exception&) {
    // What is damaged is said where the history is shown.
  }
  return std::nullopt;
}

void make_room_for_change() {
  if (access(history_path, F_OK) == 0 && !has_room(0)) {
    drop(almost_full);
  }
}

}  // namespace management
