#include "l3ctl/commands/entry_words.hpp"

#include <algorithm>

#include "management/devices/find_device.hpp"
#include "management/error.hpp"

namespace l3ctl {

namespace {

using Json = nlohmann::ordered_json;

/* Numbers and switches of the settings are not in quotes there. */
Json value_of(const std::string& key, const std::string& text) {
  if (key == "enabled" && (text == "true" || text == "false")) {
    return text == "true";
  }
  const bool is_number =
      !text.empty() && text.size() < 10 &&
      std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
  if ((key == "index" || key == "flag" || key == "reserved") && is_number) {
    return std::stoi(text);
  }
  return text;
}

}  // namespace

void refuse(const Filter& filter, const std::string& message) {
  throw management::Error(std::string(filter.command) + ": " + message + "; nothing was changed",
                          management::ErrorKind::invalid_input);
}

std::string mac_of(const Filter& filter, const std::string& word) {
  if (settings::looks_like_mac(word)) {
    // What is wrong with one is for the check of the whole section to say.
    const auto stored = settings::parse_stored_mac(word).value;
    return stored ? settings::mac_text(*stored) : word;
  }
  const auto mac = management::find_device(word);
  if (!mac.value) {
    refuse(filter, "\"" + word + "\" is not allowed; it must be " + mac.allowed);
  }
  return settings::mac_text(*mac.value);
}

Json entry_of(const Filter& filter, const std::vector<std::string>& words) {
  Json entry = Json::object();
  for (const std::string& word : words) {
    const size_t equals = word.find('=');
    const bool is_main = equals == std::string::npos;
    if (is_main && (filter.main_key == nullptr || entry.contains(filter.main_key))) {
      refuse(filter, "\"" + word + "\" is not KEY=VALUE");
    }
    const std::string key = is_main ? filter.main_key : word.substr(0, equals);
    if (entry.contains(key)) {
      refuse(filter, "\"" + key + "\" is given twice");
    }
    const std::string value = is_main ? word : word.substr(equals + 1);
    entry[key] = key == "mac" ? Json(mac_of(filter, value)) : value_of(key, value);
  }
  return entry;
}

std::vector<Json> entries_of_words(const Filter& filter, const std::vector<std::string>& words) {
  std::vector<Json> entries;
  std::vector<std::string> names;
  std::vector<std::string> keys;
  const auto end_entries = [&] {
    if (names.empty() && keys.empty()) {
      refuse(filter, "an entry without a word");
    }
    names.resize(std::max<size_t>(1, names.size()));
    for (const std::string& name : names) {
      std::vector<std::string> one = keys;
      if (!name.empty()) {
        one.insert(one.begin(), name);
      }
      entries.push_back(entry_of(filter, one));
      if (filter.complete != nullptr) {
        filter.complete(entries.back());
      }
    }
    names.clear();
    keys.clear();
  };
  for (const std::string& word : words) {
    const bool is_name = word.find('=') == std::string::npos;
    const bool ends = word == "and" || (is_name && filter.main_key != nullptr && !keys.empty());
    if (ends) {
      end_entries();
    }
    if (word != "and") {
      (is_name ? names : keys).push_back(word);
    }
  }
  end_entries();
  return entries;
}

}  // namespace l3ctl
