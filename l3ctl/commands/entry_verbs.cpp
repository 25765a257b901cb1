#include "l3ctl/commands/entry_verbs.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "l3ctl/views/change_report.hpp"
#include "management/change/change.hpp"
#include "management/devices/find_device.hpp"
#include "management/store/sections.hpp"

namespace l3ctl {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* address_keys[] = {"source", "destination"};

/* A section with its entry changed, checked and ready for the library. */
struct WantedSection {
  const FilterList* list;
  settings::Settings settings;
};

[[noreturn]] void refuse(const Filter& filter, const std::string& message) {
  throw Error(std::string(filter.command) + ": " + message + "; nothing was changed",
              ErrorKind::invalid_input);
}

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

/* The text that settings have for the device which a word means. */
std::string mac_of(const Filter& filter, const std::string& word) {
  if (settings::looks_like_mac(word)) {
    // What is wrong with one is for the check of the whole section to say.
    const auto stored = settings::parse_stored_mac(word).value;
    return stored ? settings::mac_text(*stored) : word;
  }
  const auto mac = find_device(word);
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

/* The list of the entries in a section, under whatever name it has there. */
Json& entries_of(Json& section) {
  return *std::find_if(section.begin(), section.end(),
                       [](const Json& value) { return value.is_array(); });
}

bool holds(const std::vector<settings::Problem>& problems, const settings::Problem& problem) {
  return std::find(problems.begin(), problems.end(), problem) != problems.end();
}

Json stored_section(const Change& change, const FilterList& list) {
  return Json::parse(settings::write(change.stored(), {list.section}));
}

/* The path of an entry of the section's list, as problems name it. */
std::string entry_path(const Json& document, size_t number) {
  const std::string section = document.items().begin().key();
  for (const auto& [key, value] : document.front().items()) {
    if (value.is_array()) {
      return section + "." + key + "[" + std::to_string(number) + "]";
    }
  }
  return section;
}

/* Reads a section with stored entries and, at `new_entry`, one that is added; people may write less than
 * can be stored. */
settings::Reading read_section(const Json& document, const std::string& new_entry,
                               const settings::TimeZone& zone) {
  const std::string text = document.dump(-1, ' ', true, Json::error_handler_t::replace);
  settings::Reading reading = settings::read(text, settings::Origin::stored, zone);
  if (new_entry.empty()) {
    return reading;
  }
  for (settings::Problem& error : settings::read(text, settings::Origin::input, zone).errors) {
    if (error.path.starts_with(new_entry) && !holds(reading.errors, error)) {
      reading.errors.push_back(std::move(error));
    }
  }
  return reading;
}

/* The document as settings; its faults are printed and end the command. Warned about is only what the
 * change brings, and once where it brings that to both families: `told` grows by it. */
settings::Settings checked(const Change& change, const Json& before, const Json& document,
                           const std::string& new_entry, std::vector<std::string>& told) {
  const settings::TimeZone& zone = *change.stored().time_zone;
  const auto old_warnings = settings::read(before.dump(), settings::Origin::stored, zone).warnings;
  const settings::Reading reading = read_section(document, new_entry, zone);
  std::vector<std::string> new_words;
  for (const settings::Problem& warning : reading.warnings) {
    if (!holds(old_warnings, warning) &&
        std::find(told.begin(), told.end(), warning.what) == told.end()) {
      inform("warning: " + to_text(warning));
      new_words.push_back(warning.what);
    }
  }
  told.insert(told.end(), new_words.begin(), new_words.end());
  for (const settings::Problem& error : reading.errors) {
    complain(to_text(error));
  }
  if (!reading.errors.empty()) {
    throw Error("nothing was changed", ErrorKind::invalid_input);
  }
  return reading.settings;
}

/* The lists that a new entry belongs to: a device sends by both families, an address has one. */
Lists lists_for(const Filter& filter, const Lists& lists, const Json& entry) {
  if (lists.size() < 2 || filter.main_key != nullptr) {
    return lists;
  }
  const bool is_ipv6 = std::any_of(entry.begin(), entry.end(), [](const Json& value) {
    return value.is_string() && value.get<std::string>().find(':') != std::string::npos;
  });
  return lists.subspan(is_ipv6 ? 1 : 0, 1);
}

bool names_address(const Json& entry) {
  return std::any_of(std::begin(address_keys), std::end(address_keys),
                     [&](const char* key) { return entry.contains(key) && entry[key] != "any"; });
}

/* A rule without addresses could be meant for both families. */
void note_one_family(const Filter& filter, const Lists& named, const Json& entry) {
  if (named.size() == 2 && filter.main_key == nullptr && !names_address(entry)) {
    inform(
        "note: a rule without addresses is for IPv4 alone; an IPv6 rule needs source and "
        "destination");
  }
}

void note_what_is_off(const Filter& filter, const Change& change, const Json& document) {
  if (!document.front()["enabled"].get<bool>()) {
    inform(std::string("note: the list is off; \"l3ctl ") + filter.command + " on\" applies it");
  }
  if (!*change.stored().firewall) {
    inform("note: the firewall is off; \"l3ctl firewall on\" makes the rules");
  }
}

/* The same entry twice has no effect but that deleting one leaves the other. */
void warn_of_twin(const WantedSection& wanted) {
  Json section = Json::parse(settings::write(wanted.settings, {wanted.list->section}));
  const Json& entries = entries_of(section.front());
  const auto twin = std::find(entries.begin(), entries.end() - 1, entries.back());
  if (twin != entries.end() - 1) {
    inform("warning: " + std::string(wanted.list->section) + " entry " +
           std::to_string(twin - entries.begin()) + " says the same");
  }
}

int set_all(const Context& context, Change& change, const std::vector<WantedSection>& all,
            const std::string& done) {
  for (const WantedSection& one : all) {
    change.call(one.list->section,
                [&] { return section_named(one.list->section).set(one.settings); });
  }
  return report(context, change, done);
}

/* Whether a stored entry, or a bare text that stands for its main key, has this value. */
bool has_value(const Filter& filter, const Json& entry, const std::string& value) {
  const Json& main = entry.is_object() ? entry.value(filter.main_key, Json()) : entry;
  return main == value;
}

bool is_number(const std::string& which) {
  return !which.empty() && which.size() < 6 &&
         which.find_first_not_of("0123456789") == std::string::npos;
}

/* The entries of one number in two lists have nothing to do with each other. */
void refuse_two_of_a_number(const Filter& filter, const std::string& which,
                            const std::vector<WantedSection>& wanted) {
  if (wanted.size() > 1 && is_number(which)) {
    refuse(filter, std::string("both ") + wanted[0].list->section + " and " +
                       wanted[1].list->section + " have an entry " + which +
                       ": --ipv4 or --ipv6 says which");
  }
}

/* Deletes what `which` says; the number of deleted entries. */
size_t erase_from(const Filter& filter, Json& entries, const std::string& which) {
  const size_t before = entries.size();
  if (is_number(which)) {
    const size_t number = std::stoul(which);
    if (number < before) {
      entries.erase(number);
    }
  } else if (filter.main_key != nullptr) {
    entries.erase(
        std::remove_if(entries.begin(), entries.end(),
                       [&](const Json& entry) { return has_value(filter, entry, which); }),
        entries.end());
  }
  return before - entries.size();
}

}  // namespace

int add_entry(const Context& context, const Filter& filter, Lists lists,
              const std::vector<std::string>& words) {
  const Json entry = entry_of(filter, words);
  const Lists named = lists;
  lists = lists_for(filter, lists, entry);
  Change change(context);
  std::vector<WantedSection> wanted;
  std::string places;
  std::vector<std::string> told;
  for (const FilterList& list : lists) {
    const Json before = stored_section(change, list);
    Json document = before;
    Json& entries = entries_of(document.front());
    entries.push_back(entry);
    const std::string path = entry_path(document, entries.size() - 1);
    wanted.push_back({&list, checked(change, before, document, path, told)});
    warn_of_twin(wanted.back());
    places += (places.empty() ? "" : ", ") + std::string(list.section) + " entry " +
              std::to_string(entries.size() - 1);
    if (wanted.size() == 1) {
      note_what_is_off(filter, change, document);
    }
  }
  note_one_family(filter, named, entry);
  return set_all(context, change, wanted, std::string(filter.command) + ": added as " + places);
}

int delete_entry(const Context& context, const Filter& filter, Lists lists,
                 const std::string& which) {
  const bool is_device =
      filter.main_key != nullptr && filter.main_key == std::string_view("mac") && !is_number(which);
  const std::string entry_name = is_device ? mac_of(filter, which) : which;
  Change change(context);
  std::vector<WantedSection> wanted;
  std::vector<std::string> told;
  size_t deleted = 0;
  for (const FilterList& list : lists) {
    const Json before = stored_section(change, list);
    Json document = before;
    const size_t found = erase_from(filter, entries_of(document.front()), entry_name);
    if (found != 0) {
      wanted.push_back({&list, checked(change, before, document, "", told)});
      deleted += found;
    }
  }
  refuse_two_of_a_number(filter, which, wanted);
  if (deleted == 0) {
    refuse(filter, "no entry \"" + which + "\" (\"l3ctl " + filter.command + " list\" shows them)");
  }
  return set_all(context, change, wanted,
                 std::string(filter.command) + ": deleted " + std::to_string(deleted) +
                     (deleted == 1 ? " entry" : " entries"));
}

}  // namespace l3ctl
