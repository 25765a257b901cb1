#include "l3ctl/commands/entry_verbs.hpp"

#include <algorithm>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <utility>

#include "l3ctl/commands/entry_words.hpp"
#include "l3ctl/views/change_report.hpp"
#include "management/change/change.hpp"
#include "management/store/sections.hpp"
#include "management/system/text.hpp"

namespace l3ctl {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* address_keys[] = {"source", "destination"};

/* A section with its entry changed, checked and ready for the library. */
struct WantedSection {
  const FilterList* list;
  settings::Settings settings;
};

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

/* The place of an entry that says the same as the last one, of which deleting one would leave the other. */
std::optional<size_t> twin_of_last(const FilterList& list, const settings::Settings& settings) {
  Json section = Json::parse(settings::write(settings, {list.section}));
  const Json& entries = entries_of(section.front());
  const auto twin = std::find(entries.begin(), entries.end() - 1, entries.back());
  return twin == entries.end() - 1 ? std::nullopt : std::optional<size_t>(twin - entries.begin());
}

void refuse_full_list(const Filter& filter, const FilterList& list, size_t entries) {
  const size_t capacity = section_named(list.section).list->capacity;
  if (entries > capacity) {
    refuse(filter, std::string(list.section) + " is full: it holds " + std::to_string(capacity) +
                       " entries, and would have " + std::to_string(entries));
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
void refuse_two_of_a_number(const Filter& filter, const Lists& lists, const std::string& which) {
  if (is_number(which)) {
    refuse(filter, std::string("both ") + lists[0].section + " and " + lists[1].section +
                       " have an entry " + which + ": --ipv4 or --ipv6 says which");
  }
}

/* The places of the entries that `which` means, by number or by the value of the main key. */
std::vector<size_t> places_of(const Filter& filter, const Json& entries, const std::string& which) {
  std::vector<size_t> places;
  for (size_t i = 0; i < entries.size(); ++i) {
    if (is_number(which) ? std::stoul(which) == i
                         : filter.main_key != nullptr && has_value(filter, entries[i], which)) {
      places.push_back(i);
    }
  }
  return places;
}

/* An entry's name as the settings have it: its number, or the value of the main key. */
std::string entry_name(const Filter& filter, const std::string& which) {
  const bool is_device =
      filter.main_key != nullptr && filter.main_key == std::string_view("mac") && !is_number(which);
  return is_device ? mac_of(filter, which) : which;
}

[[noreturn]] void refuse_missing(const Filter& filter, const std::string& which) {
  refuse(filter, "no entry \"" + which + "\" (\"l3ctl " + filter.command + " list\" shows them)");
}

}  // namespace

namespace {

/* A list while entries are added to it. */
struct Growing {
  const FilterList* list;
  Json before;
  Json document;
  settings::Settings settings;
  bool has_grown = false;
};

/* Who meant to change an entry would have two. */
void note_namesake(const Filter& filter, const Growing& growing, const Json& entry) {
  if (filter.main_key == nullptr || !entry.contains(filter.main_key)) {
    return;
  }
  const std::string name = entry[filter.main_key];
  Json document = growing.document;
  const std::vector<size_t> places = places_of(filter, entries_of(document.front()), name);
  if (!places.empty() && !is_number(name)) {
    inform("note: " + std::string(growing.list->section) + " entry " +
           std::to_string(places.front()) + " names " + name + " too, and both count; \"l3ctl " +
           filter.command + " set\" changes an entry");
  }
}

/* Adds one entry, unless the list has it already. Returns what became of it. */
std::string grow(const Filter& filter, const Change& change, Growing& growing, const Json& entry,
                 std::vector<std::string>& told) {
  Json longer = growing.document;
  Json& entries = entries_of(longer.front());
  entries.push_back(entry);
  const size_t place = entries.size() - 1;
  const std::string section = growing.list->section;
  settings::Reading reading =
      read_section(longer, entry_path(longer, place), *change.stored().time_zone);
  if (reading.errors.empty()) {
    if (const auto twin = twin_of_last(*growing.list, reading.settings)) {
      inform("note: " + section + " entry " + std::to_string(*twin) +
             " says the same, so it is not added");
      return "";
    }
  }
  refuse_full_list(filter, *growing.list, entries.size());
  note_namesake(filter, growing, entry);
  growing.settings = checked(change, growing.document, longer, entry_path(longer, place), told);
  growing.document = std::move(longer);
  growing.has_grown = true;
  return section + " entry " + std::to_string(place);
}

/* The lists that get an entry of these, each once. */
std::vector<Growing> growing_lists(const Filter& filter, const Change& change, const Lists& lists,
                                   const std::vector<Json>& entries) {
  std::vector<Growing> result;
  for (const FilterList& list : lists) {
    if (std::any_of(entries.begin(), entries.end(), [&](const Json& entry) {
          const Lists chosen = lists_for(filter, lists, entry);
          return &list >= chosen.data() && &list < chosen.data() + chosen.size();
        })) {
      const Json stored = stored_section(change, list);
      result.push_back({&list, stored, stored, change.stored()});
    }
  }
  return result;
}

}  // namespace

int add_entries(const Context& context, const Filter& filter, Lists lists,
                const std::vector<std::string>& words) {
  const std::vector<Json> entries = entries_of_words(filter, words);
  Change change(context);
  std::vector<Growing> all = growing_lists(filter, change, lists, entries);
  std::vector<std::string> places;
  std::vector<std::string> told;
  for (const Json& entry : entries) {
    const Lists chosen = lists_for(filter, lists, entry);
    for (Growing& growing : all) {
      if (growing.list < chosen.data() || growing.list >= chosen.data() + chosen.size()) {
        continue;
      }
      if (std::string place = grow(filter, change, growing, entry, told); !place.empty()) {
        places.push_back(std::move(place));
      }
    }
    note_one_family(filter, lists, entry);
  }
  note_what_is_off(filter, change, all.front().document);
  std::vector<WantedSection> wanted;
  for (const Growing& growing : all) {
    if (growing.has_grown) {
      wanted.push_back({growing.list, growing.settings});
    }
  }
  return set_all(context, change, wanted,
                 std::string(filter.command) +
                     (places.empty() ? ": nothing to add" : ": added as " + joined(places)));
}

int delete_entries(const Context& context, const Filter& filter, Lists lists,
                   const std::vector<std::string>& words) {
  std::set<std::string> names;
  for (const std::string& word : words) {
    names.insert(entry_name(filter, word));
  }
  Change change(context);
  std::vector<WantedSection> wanted;
  std::vector<std::string> told;
  std::set<std::string> found;
  size_t deleted = 0;
  for (const FilterList& list : lists) {
    const Json before = stored_section(change, list);
    Json document = before;
    Json& entries = entries_of(document.front());
    // Numbers are those of the list as it is shown now.
    std::set<size_t, std::greater<>> places;
    for (const std::string& which : names) {
      const std::vector<size_t> meant = places_of(filter, entries, which);
      if (!meant.empty() && !found.insert(which).second) {
        refuse_two_of_a_number(filter, lists, which);
      }
      places.insert(meant.begin(), meant.end());
    }
    for (const size_t place : places) {
      entries.erase(place);
    }
    if (!places.empty()) {
      wanted.push_back({&list, checked(change, before, document, "", told)});
      deleted += places.size();
    }
  }
  for (const std::string& which : names) {
    if (!found.contains(which)) {
      refuse_missing(filter, which);
    }
  }
  return set_all(context, change, wanted,
                 std::string(filter.command) + ": deleted " + std::to_string(deleted) +
                     (deleted == 1 ? " entry" : " entries"));
}

namespace {

/* Puts the values into the entry; KEY= takes a key out. */
void merge(Json& entry, const Json& values, const Filter& filter) {
  if (!entry.is_object()) {
    entry = Json{{filter.main_key, entry}};
  }
  for (const auto& [key, value] : values.items()) {
    if (value == "") {
      entry.erase(key);
    } else {
      entry[key] = value;
    }
  }
}

/* The one entry of the list that is meant; nothing where there is none. */
std::optional<size_t> place_of_one(const Filter& filter, const FilterList& list,
                                   const Json& entries, const std::string& which) {
  const std::vector<size_t> places = places_of(filter, entries, which);
  if (places.size() > 1) {
    std::vector<std::string> numbers;
    for (const size_t place : places) {
      numbers.push_back(std::to_string(place));
    }
    refuse(filter, std::string(list.section) + " has several entries \"" + which +
                       "\": give the number, one of " + joined(numbers));
  }
  return places.empty() ? std::nullopt : std::optional(places.front());
}

}  // namespace

int set_entry(const Context& context, const Filter& filter, Lists lists, const std::string& name,
              const std::vector<std::string>& words) {
  for (const std::string& word : words) {
    if (word.find('=') == std::string::npos) {
      refuse(filter, "\"" + word + "\" is not KEY=VALUE");
    }
  }
  const std::string which = entry_name(filter, name);
  Json values = entry_of(filter, words);
  if (filter.complete != nullptr) {
    filter.complete(values);
  }
  Change change(context);
  std::vector<WantedSection> wanted;
  std::vector<std::string> told;
  std::vector<std::string> places;
  for (const FilterList& list : lists) {
    const Json before = stored_section(change, list);
    Json document = before;
    Json& entries = entries_of(document.front());
    if (const auto place = place_of_one(filter, list, entries, which)) {
      merge(entries[*place], values, filter);
      wanted.push_back(
          {&list, checked(change, before, document, entry_path(document, *place), told)});
      places.push_back(std::string(list.section) + " entry " + std::to_string(*place));
    }
  }
  if (wanted.empty()) {
    refuse_missing(filter, which);
  }
  if (wanted.size() > 1) {
    refuse_two_of_a_number(filter, lists, which);
  }
  return set_all(context, change, wanted, std::string(filter.command) + ": set " + joined(places));
}

int set_modes(const Context& context, const Filter& filter, Lists lists,
              const std::vector<std::string>& words) {
  Json values = Json::object();
  for (const std::string& word : words) {
    const size_t equals = word.find('=');
    const std::string key =
        equals == std::string::npos ? filter.modes.front() : word.substr(0, equals);
    if (std::find(filter.modes.begin(), filter.modes.end(), key) == filter.modes.end()) {
      refuse(filter, "\"" + key + "\" is no mode; it must be " +
                         joined({filter.modes.begin(), filter.modes.end()}, " or "));
    }
    values[key] = word.substr(equals == std::string::npos ? 0 : equals + 1);
  }
  Change change(context);
  std::vector<WantedSection> wanted;
  std::vector<std::string> told;
  for (const FilterList& list : lists) {
    const Json before = stored_section(change, list);
    Json document = before;
    document.front().update(values);
    wanted.push_back({&list, checked(change, before, document, "", told)});
  }
  return set_all(context, change, wanted, std::string(filter.command) + ": " + joined(words));
}

}  // namespace l3ctl
